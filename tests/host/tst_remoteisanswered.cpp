#include "ClassStage.h"

using namespace Tarvo;

// What a remote is told when it asks, however fast it does.
class tst_RemoteIsAnswered : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void remoteThatCameAgainIsAnsweredThoughAnotherOneJustWas();
    void manyQuestionsAtOnceHaveOneMoreAnswer();
};

namespace
{

// A class that shows a lesson, and remotes that ask for it.
class AskedStage : public ClassStage
{
public:
    bool begin()
    {
        return enter(LiveClass::Live) && succeeds(host->showLesson(u"L-7"_s, u"Rivers"_s));
    }
    // Returns the remote's device.
    QString ask()
    {
        const QJsonObject question{{u"command"_s, u"requestLessonInfo"_s}};
        return classroom.post(u"remote"_s, question)[u"deviceId"_s].toString();
    }
    bool isTold(const QString &remote)
    {
        return !classroom.received(u"currentLesson"_s, 1, {{u"deviceId"_s, remote}}).isEmpty();
    }
};

} // namespace

// Its page was loaded again: the first answer reached nobody who still listens.
void tst_RemoteIsAnswered::remoteThatCameAgainIsAnsweredThoughAnotherOneJustWas()
{
    AskedStage stage;
    QVERIFY(stage.begin());
    const QString first = stage.ask();
    QVERIFY(stage.isTold(first));
    stage.classroom.remove(u"remote"_s);
    const QString second = stage.ask();
    QVERIFY(second != first);
    QVERIFY(stage.isTold(second));
}

void tst_RemoteIsAnswered::manyQuestionsAtOnceHaveOneMoreAnswer()
{
    constexpr int MANY = 20;
    AskedStage stage;
    QVERIFY(stage.begin());
    QSignalSpy commands(stage.host.get(), &LiveClass::remoteCommand);
    QElapsedTimer asking;
    asking.start();
    for (int i = 0; i < MANY; ++i)
        stage.ask();
    QTRY_COMPARE_WITH_TIMEOUT(commands.size(), MANY, ClassStage::LIMIT_MS);
    QCOMPARE(stage.classroom.received(u"currentLesson"_s, 2).size() >= 2, true);
    // The first at once, then one at the end of each 200 ms.
    const int answers = stage.classroom.countNow(u"received"_s, {{u"type"_s, u"currentLesson"_s}});
    QVERIFY2(answers <= 2 + asking.elapsed() / 200, qPrintable(QString::number(answers)));
}

QTEST_MAIN(tst_RemoteIsAnswered)

#include "tst_remoteisanswered.moc"
