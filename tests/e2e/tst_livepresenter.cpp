#include "e2e/PresenterProcess.h"
#include "e2e/Transports.h"
#include "support/Text.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>

#include <map>
#include <memory>

// The console host as people run it: lessons from a script and a pipe.
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

private:
    // Polls leave a second apart, so the lessons of all rows run at once.
    struct ExampleLesson {
        ExampleLesson(const QStringList &server, const QStringList &options)
            : classroom(words(u"--learners 5 --think 50 --remote --remote-every 100 "
                              "--remote-commands "
                              "requestLessonInfo,presenterActive,nextCard,lockAll"_s)
                        + server)
        {
            presenter.run(
                classroom,
                options + QStringList{u"--script"_s, QStringLiteral(EXAMPLE_FOLDER "/lesson.txt")});
        }

        Classroom classroom;
        PresenterProcess presenter;
    };
    std::map<QString, std::unique_ptr<ExampleLesson>> m_lessons;
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
    QTest::addColumn<QString>("transport");
    const auto row = [this](const char *name, const QStringList &server, const QStringList &options,
                            const QString &transport) {
        QTest::newRow(name) << transport;
        m_lessons[QString::fromLatin1(name)] = std::make_unique<ExampleLesson>(server, options);
    };
    const QStringList stock{u"--stock"_s};
    row("as the service prefers", {}, {}, u"websocket"_s);
    row("streaming", stock, words(u"--transport xhr-streaming"_s), u"xhr-streaming"_s);
    row("polling", stock, words(u"--transport xhr-polling"_s), u"xhr-polling"_s);
    row("compatible", {}, words(u"--compatible-transport"_s), u"websocket"_s);
}

void tst_LivePresenter::exampleLessonTouchesEveryActivity()
{
    QFETCH(QString, transport);
    const auto lesson = std::move(m_lessons[QString::fromLatin1(QTest::currentDataTag())]);
    Classroom &classroom = lesson->classroom;
    PresenterProcess &presenter = lesson->presenter;
    QVERIFY2(presenter.ended() == 0, qPrintable(presenter.output() + presenter.errors()));
    QCOMPARE(presenter.errors(), QString());
    QVERIFY(sessionWasStopped(classroom));

    const QStringList lines = presenter.lines();
    QVERIFY(lines.contains(u"+ Ada (tablet), 1 learner now"_s));
    QVERIFY(lines.contains(u"+ Eva (phone), 5 learners now"_s));
    QVERIFY(lines.contains(u"Removed Eva (phone), 4 learners now."_s));
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
    QVERIFY(lines.contains(u"Question: 5 of 5 answered"_s));
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
    QTest::newRow("SIGQUIT") << SIGQUIT;
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
    const QString script = writeFile(folder, u"lesson.txt"_s,
                                     "await learners 1\nimage --upload 'a \"b\".png'\ncard\n");
    PresenterProcess presenter;
    presenter.run(classroom, {u"--script"_s, script, u"--duration"_s, u"60"_s});
    const QString url = classroom.shownImage();
    QVERIFY2(url.startsWith(classroom.url() + u"/vantora/resource/"_s), qPrintable(url));
    // The store keeps it as long as there is a class.
    QCOMPARE(classroom.download(url.mid(classroom.url().size())), bytes);
    presenter.terminate();
    QCOMPARE(presenter.ended(), 0);
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
    // Without the service's store the card travels with the whole image.
    classroom.fail(u"/vantora/resource/uploadResourceFile"_s, 500, QString());
    writeFile(folder, u"large.png"_s, "\x89PNG\r\n\x1a\n" + noise(3 * 1024 * 1024));
    const QString script = writeFile(folder, u"lesson.txt"_s, "image large.png\ncard\nquit\n");
    PresenterProcess presenter;
    presenter.run(classroom, hostOptions() + QStringList{u"--script"_s, script});
    QCOMPARE(presenter.ended(), 0);
    QVERIFY(presenter.output().contains(u"The next poll or card shows large.png.\n"_s));
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

QTEST_GUILESS_MAIN(tst_LivePresenter)
#include "tst_livepresenter.moc"
