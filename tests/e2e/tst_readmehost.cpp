#include "e2e/Classroom.h"
#include "e2e/HostProcess.h"
#include "support/Text.h"

#include <QtCore/QProcessEnvironment>
#include <QtNetwork/QTcpServer>

// The README's first host, as a child process.
class tst_ReadmeHost : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void codeIsShownAndLearnersAreTold();
    void codeIsNotShownWhileTheChannelOpens();
    void channelThatDoesNotOpenEndsTheHost();
    void interruptStopsTheSession();
    void refusedSignInIsTold();
    void libraryIsQuietUnlessAsked_data();
    void libraryIsQuietUnlessAsked();
};

namespace
{

class ReadmeHost : public HostProcess
{
public:
    void run(const Classroom &classroom, const QString &password = u"secret"_s)
    {
        setProcessChannelMode(QProcess::MergedChannels); // the toolkit's lines are errors to it
        start(QStringLiteral(README_HOST), {classroom.url(), u"teacher"_s, password});
    }
    void interrupt() const { ::kill(static_cast<pid_t>(processId()), SIGINT); }
};

const QString CODE_LINE = u"Learners join with the code"_s;

} // namespace

void tst_ReadmeHost::codeIsShownAndLearnersAreTold()
{
    Classroom classroom(words(u"--learners 2 --join-every 10"_s));
    ReadmeHost host;
    host.run(classroom);
    QVERIFY(host.says(u"\"Ben\" joined on a \"phone\""_s));
    QVERIFY2(host.says(CODE_LINE), qPrintable(host.output()));
    QCOMPARE(host.output().count(CODE_LINE), 1);
    const QJsonValue session = classroom.get(u"sessions"_s).toArray().first();
    QVERIFY(host.output().contains(CODE_LINE + u" \""_s + session[u"code"_s].toString() + u'"'));
}

// The collaboration server takes the connection and says nothing, for several looks of the host's timer.
void tst_ReadmeHost::codeIsNotShownWhileTheChannelOpens()
{
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    Classroom classroom(
        {u"--collab-url"_s, u"http://127.0.0.1:"_s + QString::number(silent.serverPort())});
    ReadmeHost host;
    host.run(classroom);
    QTRY_VERIFY_WITH_TIMEOUT(silent.hasPendingConnections(), ReadmeHost::LIMIT_MS);
    QTest::qWait(300);
    host.interrupt();
    QCOMPARE(host.ended(), 0);
    QCOMPARE(host.output(), QString());
    QCOMPARE(classroom.requestsTo(u"/vantora/session/stop"_s), 1);
}

void tst_ReadmeHost::channelThatDoesNotOpenEndsTheHost()
{
    Classroom classroom(words(u"--transports none"_s));
    ReadmeHost host;
    host.run(classroom);
    QCOMPARE(host.ended(), 0);
    QVERIFY(host.output().contains(u"The channel has ended: \"No transport could be opened"_s));
    QCOMPARE(classroom.requestsTo(u"/vantora/session/stop"_s), 1);
}

void tst_ReadmeHost::interruptStopsTheSession()
{
    Classroom classroom(words(u"--learners 1 --join-every 10"_s));
    ReadmeHost host;
    host.run(classroom);
    QVERIFY(host.says(u"joined on a"_s));
    QVERIFY(host.says(CODE_LINE));
    host.interrupt();
    QCOMPARE(host.ended(), 0);
    QCOMPARE(classroom.requestsTo(u"/vantora/session/stop"_s), 1);
    QCOMPARE(classroom.received(u"disconnect"_s).size(), 1);
    QCOMPARE(classroom.get(u"sessions"_s).toArray(), QJsonArray());
}

void tst_ReadmeHost::refusedSignInIsTold()
{
    Classroom classroom;
    ReadmeHost host;
    host.run(classroom, u"wrong"_s);
    QCOMPARE(host.ended(), 1);
    QCOMPARE(host.output(), u"The session did not start: \"login.error.wrongCredentials\"\n"_s);
}

void tst_ReadmeHost::libraryIsQuietUnlessAsked_data()
{
    QTest::addColumn<QString>("rules");
    QTest::addColumn<bool>("isHeard");
    QTest::newRow("by default") << QString() << false;
    QTest::newRow("asked in the environment") << u"tarvo.*.debug=true"_s << true;
}

void tst_ReadmeHost::libraryIsQuietUnlessAsked()
{
    QFETCH(QString, rules);
    QFETCH(bool, isHeard);
    Classroom classroom;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"QT_LOGGING_RULES"_s, rules);
    ReadmeHost host;
    host.setProcessEnvironment(environment);
    host.run(classroom);
    QVERIFY(host.says(CODE_LINE));
    QCOMPARE(host.output().contains(u"[REST Response]"_s), isHeard);
}

QTEST_GUILESS_MAIN(tst_ReadmeHost)
#include "tst_readmehost.moc"
