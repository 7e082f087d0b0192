#include "e2e/PresenterProcess.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QSocketNotifier>
#include <QtCore/QTemporaryDir>

#include <cstdlib>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

// The console host as people run it: lessons from a script, a pipe and a terminal.
class tst_LivePresenter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void exampleLessonTouchesEveryActivity();
    void commandsComeFromAPipe_data();
    void commandsComeFromAPipe();
    void sessionLastsAsLongAsAskedFor();
    void endOfInputEndsTheSession();
    void signalEndsTheSession_data();
    void signalEndsTheSession();
    void remoteEndsTheSession();
    void learnersAreShownAsTheyComeAndGo();
    void cardIsShownFromTheServicesStore();
    void lastWordArrivesBehindALargeImage_data();
    void lastWordArrivesBehindALargeImage();
    void diagnosticsAreShownOnRequestOnly();
    void promptShowsResultsInPlace();
};

namespace
{

bool sessionWasStopped(Classroom &classroom)
{
    return classroom.countNow({{"kind", "request"}, {"path", "/vantora/session/stop"}}) == 1
        && classroom.countNow({{"kind", "request"}, {"path", "/vantora/login/logout"}}) == 1
        && classroom.get("sessions").toArray().isEmpty();
}

QString writeScript(const QTemporaryDir &folder, const QByteArray &text)
{
    QFile file(folder.filePath("lesson.txt"));
    if (file.open(QIODevice::WriteOnly))
        file.write(text);
    return file.fileName();
}

} // namespace

void tst_LivePresenter::exampleLessonTouchesEveryActivity()
{
    Classroom classroom({"--learners", "5", "--think", "50", "--remote", "--remote-every", "100",
                         "--remote-commands",
                         "requestLessonInfo,presenterActive,nextCard,lockAll"});
    PresenterProcess presenter;
    presenter.run(classroom, {"--script", EXAMPLE_FOLDER "/lesson.txt"});
    QVERIFY2(presenter.ended() == 0, qPrintable(presenter.output() + presenter.errors()));
    QCOMPARE(presenter.errors(), QString());
    QVERIFY(sessionWasStopped(classroom));

    const QStringList lines = presenter.lines();
    QVERIFY(lines.contains("+ Ada (tablet), 1 learner now"));
    QVERIFY(lines.contains("+ Eva (phone), 5 learners now"));
    QVERIFY(lines.contains("- Eva (phone), 4 learners now"));
    QVERIFY(!lines.filter(QRegularExpression("^Session [0-9]{6} is open over websocket\\.$"))
                 .isEmpty());
    QCOMPARE(lines.at(lines.size() - 2), QString("Session stopped."));
    // Learner n picks option n + the polls before: three of five choose the first of two options.
    const int first = lines.indexOf("Poll true-false: 5 of 5 answered");
    QVERIFY(first > 0);
    QCOMPARE(
        lines.at(first + 1),
        QString(
            "A TRUE   #####################################                           3   60%"));
    QCOMPARE(
        lines.at(first + 2),
        QString(
            "B FALSE  #########################                                       2   40%"));
    for (const QString kind : {"yes-no-other", "multiple", "scale", "sort", "text", "word-seed",
                               "number", "creative", "math formula"})
        QVERIFY2(lines.contains("Poll " + kind + ": 5 of 5 answered"), qPrintable(kind));
    QVERIFY(lines.contains("Assessment Rivers of Europe: 15 of 15 answered"));

    // Everything a device can get was got.
    for (const QString type :
         {"poll", "questionStart", "pollStop", "pause", "resume", "showCard", "heavy",
          "assessmentStart", "assessmentStop", "dialogShow", "questionSetReview", "disconnect"})
        QVERIFY2(classroom.countNow({{"kind", "received"}, {"type", type}, {"role", "learner"}})
                     > 0,
                 qPrintable(type));
    for (const QString type : {"currentLesson", "currentCard", "presenterIsActive"})
        QVERIFY2(classroom.countNow({{"kind", "received"}, {"type", type}, {"role", "controller"}})
                     > 0,
                 qPrintable(type));
    // Eva alone was sent away before the end.
    const QJsonValue removed = classroom.received("disconnect").at(0);
    QCOMPARE(removed["userName"].toString(), QString("Eva"));
}

void tst_LivePresenter::commandsComeFromAPipe_data()
{
    QTest::addColumn<QString>("transport");
    QTest::newRow("websocket") << "websocket";
    QTest::newRow("xhr-polling") << "xhr-polling";
}

void tst_LivePresenter::commandsComeFromAPipe()
{
    QFETCH(QString, transport);
    Classroom classroom({"--learners", "2", "--think", "20"});
    PresenterProcess presenter;
    presenter.runPiped(classroom,
                       "await learners 2\n"
                       "# the last line has no end\n"
                       "poll yes-no-other yes-no 2\n"
                       "await responses all\n"
                       "stop",
                       {"--transport", transport});
    QVERIFY2(presenter.ended() == 0, qPrintable(presenter.output() + presenter.errors()));
    QCOMPARE(presenter.errors(), QString());
    QVERIFY(presenter.output().contains(" is open over " + transport + ".\n"));
    QVERIFY2(
        presenter.output().contains(
            "\n> stop\n"
            "Poll yes-no-other: 2 of 2 answered\n"
            "A YES  ################################                                  1   50%\n"
            "B NO   ################################                                  1   50%\n"
            "Session stopped.\n"),
        qPrintable(presenter.output()));
    QVERIFY(presenter.output().contains("\n  Ada: A\n"));
    QVERIFY(presenter.output().contains("\n  Ben: B\n"));
    QVERIFY(sessionWasStopped(classroom));
}

void tst_LivePresenter::sessionLastsAsLongAsAskedFor()
{
    Classroom classroom;
    PresenterProcess presenter;
    presenter.setStandardInputFile(QProcess::nullDevice());
    presenter.run(classroom, {"--duration", "1.5"});
    QVERIFY(presenter.says("is open"));
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(presenter.ended(), 0);
    QVERIFY2(clock.elapsed() > 1000, qPrintable(QString::number(clock.elapsed())));
    QVERIFY(sessionWasStopped(classroom));
}

void tst_LivePresenter::endOfInputEndsTheSession()
{
    Classroom classroom;
    PresenterProcess presenter;
    presenter.runPiped(classroom, QByteArray());
    QCOMPARE(presenter.ended(), 0);
    QVERIFY(presenter.output().contains("is open"));
    QVERIFY(sessionWasStopped(classroom));
}

void tst_LivePresenter::signalEndsTheSession_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("SIGINT") << SIGINT;
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGHUP") << SIGHUP;
}

void tst_LivePresenter::signalEndsTheSession()
{
    QFETCH(int, number);
    Classroom classroom;
    PresenterProcess presenter;
    presenter.run(classroom, {}); // and standard input stays open
    QVERIFY(presenter.says("is open"));
    ::kill(pid_t(presenter.processId()), number);
    QCOMPARE(presenter.ended(), 0);
    QVERIFY(presenter.output().endsWith("Session stopped.\n"));
    QVERIFY(sessionWasStopped(classroom));
}

void tst_LivePresenter::remoteEndsTheSession()
{
    Classroom classroom;
    PresenterProcess presenter;
    presenter.run(classroom, {});
    QVERIFY(presenter.says("is open"));
    QCOMPARE(classroom.journal({{"kind", "register"}}, 3).size(), 3);
    classroom.post("remote", {{"command", "stopSession"}});
    QCOMPARE(presenter.ended(), 0);
    QVERIFY(presenter.output().contains("* remote: stopSession\n"));
    QVERIFY(sessionWasStopped(classroom));
}

void tst_LivePresenter::learnersAreShownAsTheyComeAndGo()
{
    Classroom classroom({"--learners", "2"});
    PresenterProcess presenter;
    presenter.run(classroom, {});
    QVERIFY(presenter.says("+ Ben (phone), 2 learners now\n"));
    const QString device = classroom.learners().at(0)["deviceId"].toString();
    classroom.remove("learners/" + device);
    QVERIFY(presenter.says("- Ada (tablet), 1 learner now\n"));
    presenter.write("learners\n");
    const QString other = classroom.learners().at(0)["deviceId"].toString();
    QVERIFY(presenter.says("> learners\n1 learner:\n1. Ben (phone), device " + other + "\n"));
    presenter.write("quit\n");
    QCOMPARE(presenter.ended(), 0);
}

void tst_LivePresenter::cardIsShownFromTheServicesStore()
{
    Classroom classroom({"--learners", "1"});
    const QTemporaryDir folder;
    QFile image(folder.filePath("a \"b\".png"));
    QVERIFY(image.open(QIODevice::WriteOnly));
    const QByteArray bytes("\x89PNG\r\n\x1a\n\0\xff\r\n------boundary--\r\n", 30);
    image.write(bytes);
    image.close();
    PresenterProcess presenter;
    presenter.run(
        classroom,
        {"--script",
         writeScript(folder, "await learners 1\nimage --upload 'a \"b\".png'\ncard\nquit\n")});
    QCOMPARE(presenter.ended(), 0);
    const QString url =
        classroom.receivedOne("showCard")["data"]["components"][0]["blob"]["url"].toString();
    QVERIFY2(url.startsWith(classroom.url() + "/vantora/resource/"), qPrintable(url));
    QCOMPARE(classroom.download(url.mid(classroom.url().size())), bytes);
    QVERIFY2(presenter.output().contains("Uploaded a 'b'.png (30 bytes) as "),
             qPrintable(presenter.output()));
}

void tst_LivePresenter::lastWordArrivesBehindALargeImage_data()
{
    QTest::addColumn<QString>("transport");
    QTest::newRow("websocket") << "websocket";
    QTest::newRow("xhr-polling") << "xhr-polling";
}

void tst_LivePresenter::lastWordArrivesBehindALargeImage()
{
    QFETCH(QString, transport);
    Classroom classroom;
    const QTemporaryDir folder;
    QFile image(folder.filePath("large.png"));
    QVERIFY(image.open(QIODevice::WriteOnly));
    image.write(noise(3 * 1024 * 1024));
    image.close();
    PresenterProcess presenter;
    presenter.run(classroom,
                  {"--transport", transport, "--script",
                   writeScript(folder, "image large.png\ncard\nquit\n")});
    QCOMPARE(presenter.ended(), 0);
    QVERIFY(presenter.output().contains(
        "large.png is not a PNG image, but devices will be told so.\n"));
    // The session may be stopped before they arrive; then they are refused, but they were received.
    for (const QString type : {"showCard", "heavy", "disconnect"}) {
        QTRY_COMPARE_WITH_TIMEOUT(
            classroom.countNow({{"kind", "publish"}, {"transport", transport}, {"type", type}})
                + classroom.countNow(
                    {{"kind", "refused"}, {"transport", transport}, {"type", type}}),
            1, PresenterProcess::LIMIT_MS);
    }
}

void tst_LivePresenter::diagnosticsAreShownOnRequestOnly()
{
    Classroom classroom;
    PresenterProcess quiet;
    quiet.runPiped(classroom, "quit\n");
    QCOMPARE(quiet.ended(), 0);
    QCOMPARE(quiet.errors(), QString());
    QVERIFY(!quiet.output().contains("[SockJSConnector]"));

    PresenterProcess verbose;
    verbose.runPiped(classroom, "quit\n", {"--verbose"});
    QCOMPARE(verbose.ended(), 0);
    QVERIFY(verbose.errors().contains("[SockJSConnector] CONNECTED via Websocket"));
    QVERIFY(!verbose.output().contains("[SockJSConnector]"));
    QVERIFY(!verbose.errors().contains("secret"));
}

// ---- On a terminal -------------------------------------------------------------------------------

namespace
{

// A terminal of 60 columns and 12 rows, of which the test holds the other end.
class TerminalProcess : public PresenterProcess
{
public:
    TerminalProcess() : m_master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        grantpt(m_master);
        unlockpt(m_master);
        const winsize size{12, 60, 0, 0};
        ioctl(m_master, TIOCSWINSZ, &size);
        m_slaveName = ptsname(m_master);
        // Standard input and output are replaced below; this keeps QProcess from making pipes.
        setInputChannelMode(QProcess::ForwardedInputChannel);
        setProcessChannelMode(QProcess::ForwardedChannels);
        m_notifier = std::make_unique<QSocketNotifier>(m_master, QSocketNotifier::Read);
        connect(m_notifier.get(), &QSocketNotifier::activated, this, [this] { takeScreen(); });
    }
    ~TerminalProcess() override
    {
        kill();
        waitForFinished();
        m_notifier.reset();
        ::close(m_master);
    }

    void type(const QByteArray &keys)
    {
        const ssize_t written = ::write(m_master, keys.constData(), size_t(keys.size()));
        QCOMPARE(int(written), keys.size());
    }
    bool shows(const QString &text)
    {
        return QTest::qWaitFor([&] { return m_screen.contains(text); }, LIMIT_MS);
    }
    QString screen() const { return m_screen; }
    void forget() { m_screen.clear(); }

protected:
    void setupChildProcess() override
    {
        PresenterProcess::setupChildProcess();
        setsid();
        const int slave = ::open(m_slaveName.constData(), O_RDWR); // becomes the terminal
        for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            dup2(slave, descriptor);
        ::close(slave);
    }

private:
    void takeScreen()
    {
        char bytes[4096];
        const ssize_t count = ::read(m_master, bytes, sizeof(bytes));
        if (count > 0)
            m_screen += QString::fromUtf8(bytes, int(count));
        else
            m_notifier->setEnabled(false); // the program has ended
    }

    int m_master;
    QByteArray m_slaveName;
    std::unique_ptr<QSocketNotifier> m_notifier;
    QString m_screen;
};

} // namespace

void tst_LivePresenter::promptShowsResultsInPlace()
{
    Classroom classroom({"--learners", "2", "--think", "20"});
    TerminalProcess presenter;
    presenter.run(classroom, {});
    QVERIFY2(presenter.shows("+ Ben (phone), 2 learners now"), qPrintable(presenter.screen()));
    QVERIFY(presenter.shows("lesson> "));
    presenter.type("poll true-falxe\x7f\x7fse\r");
    // Both have answered, so the block has its two bars, below the title and above the prompt.
    QVERIFY2(presenter.shows("Poll true-false: 2 of 2 answered"), qPrintable(presenter.screen()));
    QVERIFY(presenter.shows("> poll true-false"));
    const QString bar(17, QChar(0x2588));
    QVERIFY2(presenter.screen().contains("A TRUE   " + bar), qPrintable(presenter.screen()));
    // Before a new drawing, the three rows above the prompt are taken off.
    presenter.forget();
    presenter.type("x");
    QVERIFY2(presenter.shows("\r\x1b[3A\x1b[JPoll true-false: 2 of 2 answered"),
             qPrintable(presenter.screen()));
    QVERIFY(presenter.shows("lesson> x\r\x1b[9C"));
    presenter.type("\x15nonsense\r");
    QVERIFY(presenter.shows("There is no command 'nonsense'; help lists them."));
    QVERIFY(!presenter.screen().contains("Session stopped."));
    presenter.type("stop\r");
    presenter.type("\x04");
    QVERIFY(presenter.shows("Session stopped."));
    QCOMPARE(presenter.ended(), 0);
    QVERIFY(sessionWasStopped(classroom));
}

QTEST_GUILESS_MAIN(tst_LivePresenter)
#include "tst_livepresenter.moc"
