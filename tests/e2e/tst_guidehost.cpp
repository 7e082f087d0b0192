#include "e2e/Classroom.h"
#include "e2e/HostProcess.h"
#include "support/Text.h"

#include <QtCore/QRegularExpression>

#include <algorithm>

// The guide's complete host, as a child process.
class tst_GuideHost : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lessonIsTaught();
    void learnersWhoWereThereBeforeAreAsked();
    void channelThatDoesNotOpenEndsTheClass();
    void refusedSignInIsTold();
};

namespace
{

class GuideHost : public HostProcess
{
public:
    void run(const Classroom &classroom, int learners, const QString &password = u"secret"_s)
    {
        start(QStringLiteral(GUIDE_HOST),
              {classroom.url(), u"teacher"_s, password, QString::number(learners)});
    }
};

} // namespace

// Learners are printed in the order of their devices, which are named at random.
void tst_GuideHost::lessonIsTaught()
{
    Classroom classroom(words(u"--learners 3 --think 20"_s));
    GuideHost host;
    host.run(classroom, 3);
    QCOMPARE(host.ended(), 0);
    QCOMPARE(host.errors(), QString());

    const QStringList lines = host.lines();
    QCOMPARE(lines.size(), 8); // the last one is empty
    QVERIFY(
        QRegularExpression(u"^Learners join with the code \\d{6}$"_s).match(lines[0]).hasMatch());
    QStringList poll = lines.mid(1, 3);
    QStringList question = lines.mid(4, 3);
    poll.sort();
    question.sort();
    QCOMPARE(poll, QStringList({u"Ada answers A"_s, u"Ben answers B"_s, u"Cleo answers A"_s}));
    QCOMPARE(question, QStringList({u"Ada answers B"_s, u"Ben answers A"_s, u"Cleo answers B"_s}));
    QCOMPARE(classroom.received(u"pollStop"_s, 6).size(), 6);
    QCOMPARE(classroom.received(u"disconnect"_s, 3).size(), 3);
    QCOMPARE(classroom.requestsTo(u"/vantora/session/stop"_s), 1);
    QCOMPARE(classroom.requestsTo(u"/vantora/login/logout"_s), 1);
}

// One that is listed and does not answer.
void tst_GuideHost::learnersWhoWereThereBeforeAreAsked()
{
    Classroom classroom;
    classroom.fail(
        u"/vantora/session/getusers"_s, 200,
        uR"({"data":{"users":[{"userToken":"d17","userName":"Zoe","mode":"learner"}]}})"_s);
    GuideHost host;
    host.run(classroom, 1);
    QVERIFY(host.says(u"Learners join with the code"_s));
    const QJsonValue poll =
        classroom.journal(u"publish"_s, {{u"type"_s, u"questionStart"_s}}).first();
    QCOMPARE(poll[u"data"_s][u"type"_s].toString(), u"true-false"_s);
}

void tst_GuideHost::channelThatDoesNotOpenEndsTheClass()
{
    Classroom classroom(words(u"--transports none"_s));
    GuideHost host;
    host.run(classroom, 1);
    QCOMPARE(host.ended(), 1);
    QVERIFY(host.output().startsWith(
        u"The class did not begin: No transport could be opened: websocket: "_s));
    QCOMPARE(host.lines().size(), 2);
    QCOMPARE(classroom.requestsTo(u"/vantora/session/stop"_s), 1);
}

void tst_GuideHost::refusedSignInIsTold()
{
    Classroom classroom;
    GuideHost host;
    host.run(classroom, 1, u"wrong"_s);
    QCOMPARE(host.ended(), 1);
    QCOMPARE(host.output(), u"The class did not begin: login.error.wrongCredentials\n"_s);
}

QTEST_GUILESS_MAIN(tst_GuideHost)
#include "tst_guidehost.moc"
