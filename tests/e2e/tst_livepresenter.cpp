#include "e2e/PresenterProcess.h"
#include "e2e/Transports.h"
#include "support/Text.h"

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
    void exampleLessonTouchesEveryActivity_data();
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
    return classroom.requestsTo(u"/vantora/session/stop"_s) == 1
        && classroom.requestsTo(u"/vantora/login/logout"_s) == 1
        && classroom.get(u"sessions"_s).toArray().isEmpty();
}

// Both ways, over each transport that they are good for.
void addHostRows()
{
    addTransportRows();
    for (const QString &transport : {u"websocket"_s, u"xhr-streaming"_s, u"xhr-polling"_s})
        QTest::addRow("robust %s", qPrintable(transport)) << transport << false << true;
}

// The options of the host and of its classroom for the way of the row.
QStringList hostOptions()
{
    const QStringList options{u"--transport"_s, rowTransport()};
    return rowWay().isRobust ? options : options + words(u"--compatible-transport"_s);
}

QStringList classroomOptions(const QStringList &options = {})
{
    return rowWay().isRobust ? options + QStringList{u"--stock"_s} : options;
}

} // namespace

void tst_LivePresenter::exampleLessonTouchesEveryActivity_data()
{
    QTest::addColumn<QStringList>("server");
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("transport");
    const QStringList stock{u"--stock"_s};
    QTest::newRow("as the service prefers") << QStringList() << QStringList() << u"websocket"_s;
    QTest::newRow("streaming") << stock << words(u"--transport xhr-streaming"_s)
                               << u"xhr-streaming"_s;
    QTest::newRow("polling") << stock << words(u"--transport xhr-polling"_s) << u"xhr-polling"_s;
    QTest::newRow("compatible") << QStringList() << words(u"--compatible-transport"_s)
                                << u"websocket"_s;
}

void tst_LivePresenter::exampleLessonTouchesEveryActivity()
{
    QFETCH(QStringList, server);
    QFETCH(QStringList, options);
    QFETCH(QString, transport);
    Classroom classroom(
        words(u"--learners 5 --think 50 --remote --remote-every 100 --remote-commands "
              "requestLessonInfo,presenterActive,nextCard,lockAll"_s)
        + server);
    PresenterProcess presenter;
    presenter.run(classroom,
                  options
                      + QStringList{u"--script"_s, QStringLiteral(EXAMPLE_FOLDER "/lesson.txt")});
    QVERIFY2(presenter.ended() == 0, qPrintable(presenter.output() + presenter.errors()));
    QCOMPARE(presenter.errors(), QString());
    QVERIFY(sessionWasStopped(classroom));

    const QStringList lines = presenter.lines();
    QVERIFY(lines.contains(u"+ Ada (tablet), 1 learner now"_s));
    QVERIFY(lines.contains(u"+ Eva (phone), 5 learners now"_s));
    QVERIFY(lines.contains(u"- Eva (phone), 4 learners now"_s));
    const QRegularExpression isOpen(u"^Session [0-9]{6} is open over %1\\.$"_s.arg(transport));
    QCOMPARE(lines.filter(isOpen).size(), 1);
    QCOMPARE(lines.at(lines.size() - 2), u"Session stopped."_s);
    // Learner n picks option n + the polls before: three of five choose the first of two options.
    const int first = lines.indexOf(u"Poll true-false: 5 of 5 answered"_s);
    QVERIFY(first > 0);
    QCOMPARE(lines.at(first + 1),
             u"A TRUE   #####################################                           3   60%"_s);
    QCOMPARE(lines.at(first + 2),
             u"B FALSE  #########################                                       2   40%"_s);
    for (const QString &kind : {u"yes-no-other"_s, u"multiple"_s, u"scale"_s, u"sort"_s, u"text"_s,
                                u"word-seed"_s, u"number"_s, u"creative"_s, u"math formula"_s})
        QVERIFY2(lines.contains(u"Poll "_s + kind + u": 5 of 5 answered"_s), qPrintable(kind));
    QVERIFY(lines.contains(u"Assessment Rivers of Europe: 15 of 15 answered"_s));

    // Everything a device can get was got.
    for (const QString &type :
         {u"poll"_s, u"questionStart"_s, u"pollStop"_s, u"pause"_s, u"resume"_s, u"showCard"_s,
          u"heavy"_s, u"assessmentStart"_s, u"assessmentStop"_s, u"dialogShow"_s,
          u"questionSetReview"_s, u"disconnect"_s})
        QVERIFY2(classroom.countNow(u"received"_s, {{u"type"_s, type}, {u"role"_s, u"learner"_s}})
                     > 0,
                 qPrintable(type));
    for (const QString &type : {u"currentLesson"_s, u"currentCard"_s, u"presenterIsActive"_s})
        QVERIFY2(
            classroom.countNow(u"received"_s, {{u"type"_s, type}, {u"role"_s, u"controller"_s}})
                > 0,
            qPrintable(type));
    // Eva alone was sent away before the end.
    const QJsonValue removed = classroom.received(u"disconnect"_s).at(0);
    QCOMPARE(removed[u"userName"_s].toString(), u"Eva"_s);
}

void tst_LivePresenter::commandsComeFromAPipe_data()
{
    addHostRows();
}

void tst_LivePresenter::commandsComeFromAPipe()
{
    Classroom classroom(classroomOptions(words(u"--learners 2 --think 20"_s)));
    PresenterProcess presenter;
    presenter.runPiped(classroom,
                       "await learners 2\n"
                       "# the last line has no end\n"
                       "poll yes-no-other yes-no 2\n"
                       "await responses all\n"
                       "stop",
                       hostOptions());
    QVERIFY2(presenter.ended() == 0, qPrintable(presenter.output() + presenter.errors()));
    QCOMPARE(presenter.errors(), QString());
    QVERIFY(presenter.output().contains(u" is open over "_s + rowTransport() + u".\n"_s));
    QVERIFY2(
        presenter.output().contains(
            u"\n> stop\n"
            "Poll yes-no-other: 2 of 2 answered\n"
            "A YES  ################################                                  1   50%\n"
            "B NO   ################################                                  1   50%\n"
            "Session stopped.\n"_s),
        qPrintable(presenter.output()));
    QVERIFY(presenter.output().contains(u"\n  Ada: A\n"_s));
    QVERIFY(presenter.output().contains(u"\n  Ben: B\n"_s));
    QVERIFY(sessionWasStopped(classroom));
}

void tst_LivePresenter::sessionLastsAsLongAsAskedFor()
{
    Classroom classroom;
    PresenterProcess presenter;
    presenter.setStandardInputFile(QProcess::nullDevice());
    presenter.run(classroom, words(u"--duration 1.5"_s));
    QVERIFY(presenter.says(u"is open"_s));
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
    QVERIFY(presenter.output().contains(u"is open"_s));
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
    QVERIFY(presenter.says(u"is open"_s));
    ::kill(pid_t(presenter.processId()), number);
    QCOMPARE(presenter.ended(), 0);
    QVERIFY(presenter.output().endsWith(u"Session stopped.\n"_s));
    QVERIFY(sessionWasStopped(classroom));
}

void tst_LivePresenter::remoteEndsTheSession()
{
    Classroom classroom;
    PresenterProcess presenter;
    presenter.run(classroom, {});
    QVERIFY(presenter.says(u"is open"_s));
    QVERIFY(classroom.presenterIsRegistered());
    classroom.post(u"remote"_s, {{u"command"_s, u"stopSession"_s}});
    QCOMPARE(presenter.ended(), 0);
    QVERIFY(presenter.output().contains(u"* remote: stopSession\n"_s));
    QVERIFY(sessionWasStopped(classroom));
}

void tst_LivePresenter::learnersAreShownAsTheyComeAndGo()
{
    Classroom classroom(words(u"--learners 2"_s));
    PresenterProcess presenter;
    presenter.run(classroom, {});
    QVERIFY(presenter.says(u"+ Ben (phone), 2 learners now\n"_s));
    const QString device = classroom.deviceId(0);
    classroom.remove(u"learners/"_s + device);
    QVERIFY(presenter.says(u"- Ada (tablet), 1 learner now\n"_s));
    presenter.write("learners\n");
    const QString other = classroom.deviceId(0);
    QVERIFY(presenter.says(u"> learners\n1 learner:\n1. Ben (phone), device "_s + other + u"\n"_s));
    presenter.write("quit\n");
    QCOMPARE(presenter.ended(), 0);
}

void tst_LivePresenter::cardIsShownFromTheServicesStore()
{
    Classroom classroom(words(u"--learners 1"_s));
    const QTemporaryDir folder;
    const QByteArray bytes("\x89PNG\r\n\x1a\n\0\xff\r\n------boundary--\r\n", 30);
    writeFile(folder, u"a \"b\".png"_s, bytes);
    const QString script = writeFile(
        folder, u"lesson.txt"_s, "await learners 1\nimage --upload 'a \"b\".png'\ncard\nquit\n");
    PresenterProcess presenter;
    presenter.run(classroom, {u"--script"_s, script});
    QCOMPARE(presenter.ended(), 0);
    const QString url = classroom.shownImage();
    QVERIFY2(url.startsWith(classroom.url() + u"/vantora/resource/"_s), qPrintable(url));
    QCOMPARE(classroom.download(url.mid(classroom.url().size())), bytes);
    QVERIFY2(presenter.output().contains(u"Uploaded a 'b'.png (30 bytes) as "_s),
             qPrintable(presenter.output()));
}

void tst_LivePresenter::lastWordArrivesBehindALargeImage_data()
{
    addHostRows();
}

void tst_LivePresenter::lastWordArrivesBehindALargeImage()
{
    Classroom classroom(classroomOptions());
    const QTemporaryDir folder;
    writeFile(folder, u"large.png"_s, noise(3 * 1024 * 1024));
    const QString script = writeFile(folder, u"lesson.txt"_s, "image large.png\ncard\nquit\n");
    PresenterProcess presenter;
    presenter.run(classroom, hostOptions() + QStringList{u"--script"_s, script});
    QCOMPARE(presenter.ended(), 0);
    QVERIFY(presenter.output().contains(
        u"large.png is not a PNG image, but devices will be told so.\n"_s));
    QTRY_COMPARE_WITH_TIMEOUT(classroom.lastWords(rowTransport()), QVector<int>({1, 1, 1}),
                              PresenterProcess::LIMIT_MS);
}

void tst_LivePresenter::diagnosticsAreShownOnRequestOnly()
{
    Classroom classroom;
    PresenterProcess quiet;
    quiet.runPiped(classroom, "quit\n");
    QCOMPARE(quiet.ended(), 0);
    QCOMPARE(quiet.errors(), QString());
    QVERIFY(!quiet.output().contains(u"[SockJSConnector]"_s));

    PresenterProcess verbose;
    verbose.runPiped(classroom, "quit\n", {u"--verbose"_s});
    QCOMPARE(verbose.ended(), 0);
    QVERIFY(verbose.errors().contains(u"[SockJSConnector] CONNECTED via Websocket"_s));
    QVERIFY(!verbose.output().contains(u"[SockJSConnector]"_s));
    QVERIFY(!verbose.errors().contains(u"secret"_s));

    PresenterProcess silenced;
    QProcessEnvironment environment = silenced.processEnvironment();
    environment.insert(u"QT_LOGGING_RULES"_s, u"tarvo.*=false"_s);
    silenced.setProcessEnvironment(environment);
    silenced.runPiped(classroom, "quit\n", {u"--verbose"_s});
    QCOMPARE(silenced.ended(), 0);
    QCOMPARE(silenced.errors(), QString());
    QVERIFY(silenced.output().contains(u" is open over websocket.\n"_s));
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
    Classroom classroom(words(u"--learners 2 --think 20"_s));
    TerminalProcess presenter;
    presenter.run(classroom, {});
    QVERIFY2(presenter.shows(u"+ Ben (phone), 2 learners now"_s), qPrintable(presenter.screen()));
    QVERIFY(presenter.shows(u"lesson> "_s));
    presenter.type("poll true-falxe\x7f\x7fse\r");
    // Both have answered, so the block has its two bars, below the title and above the prompt.
    QVERIFY2(presenter.shows(u"Poll true-false: 2 of 2 answered"_s),
             qPrintable(presenter.screen()));
    QVERIFY(presenter.shows(u"> poll true-false"_s));
    const QString bar(17, QChar(0x2588));
    QVERIFY2(presenter.screen().contains(u"A TRUE   "_s + bar), qPrintable(presenter.screen()));
    // Before a new drawing, the three rows above the prompt are taken off.
    presenter.forget();
    presenter.type("x");
    QVERIFY2(presenter.shows(u"\r\x1b[3A\x1b[JPoll true-false: 2 of 2 answered"_s),
             qPrintable(presenter.screen()));
    QVERIFY(presenter.shows(u"lesson> x\r\x1b[9C"_s));
    presenter.type("\x15nonsense\r");
    QVERIFY(presenter.shows(u"There is no command 'nonsense'; help lists them."_s));
    QVERIFY(!presenter.screen().contains(u"Session stopped."_s));
    presenter.type("stop\r");
    presenter.type("\x04");
    QVERIFY(presenter.shows(u"Session stopped."_s));
    QCOMPARE(presenter.ended(), 0);
    QVERIFY(sessionWasStopped(classroom));
}

QTEST_GUILESS_MAIN(tst_LivePresenter)
#include "tst_livepresenter.moc"
