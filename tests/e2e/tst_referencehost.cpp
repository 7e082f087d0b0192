#include "e2e/Classroom.h"
#include "e2e/HostProcess.h"
#include "support/Text.h"

// The host of the reference's page "Your first host", as a child process.
class tst_ReferenceHost : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void learnersAnswerAndTheResultIsShown();
    void refusedSignInIsTold();

private:
    static void run(HostProcess *host, const Classroom &classroom, const QString &password)
    {
        host->setProcessChannelMode(QProcess::MergedChannels);
        host->start(QStringLiteral(REFERENCE_HOST), {classroom.url(), u"teacher"_s, password});
    }
};

void tst_ReferenceHost::learnersAnswerAndTheResultIsShown()
{
    Classroom classroom(words(u"--learners 3 --join-every 10 --think 20"_s));
    HostProcess host;
    run(&host, classroom, u"secret"_s);
    QVERIFY2(host.ended() == 0, qPrintable(host.output()));

    QStringList there = host.lines().mid(1, 3);
    there.sort();
    QCOMPARE(there, QStringList({u"Ada is there"_s, u"Ben is there"_s, u"Cleo is there"_s}));
    QVERIFY2(host.lines().first().contains(
                 QRegularExpression(u"^Learners join with the code \\d{6}$"_s)),
             qPrintable(host.output()));
    const QStringList results = host.lines().mid(4);
    int answers = 0;
    for (const QString &line : results)
        answers += line.section(u": "_s, 1).toInt();
    QCOMPARE(answers, 3);
    QVERIFY2(results.join(u' ').contains(QRegularExpression(u"^A 27: \\d B 37: \\d C 57: \\d $"_s)),
             qPrintable(host.output()));
    QCOMPARE(classroom.requestsTo(u"/vantora/session/stop"_s), 1);
}

void tst_ReferenceHost::refusedSignInIsTold()
{
    Classroom classroom;
    HostProcess host;
    run(&host, classroom, u"wrong"_s);
    QCOMPARE(host.ended(), 1);
    QVERIFY2(host.output().startsWith(u"Signing in failed"_s), qPrintable(host.output()));
}

QTEST_GUILESS_MAIN(tst_ReferenceHost)
#include "tst_referencehost.moc"
