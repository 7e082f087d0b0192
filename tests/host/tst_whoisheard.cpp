#include "ClassStage.h"

#include "client/PresenterClient.h"
#include "model/PollType.h"

#include <QtCore/QJsonDocument>

using namespace Tarvo;

// Who is counted and obeyed: messages in other devices' names, of devices that nobody knows, too long ones,
// late ones, the same ones again.
class tst_WhoIsHeard : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void answersOfUnknownDevicesAreToldOnceAndNotCounted();
    void deviceThatOnlySaysThatItJoinsIsNotCounted();
    void listedDeviceIsCountedThoughNobodyHeardItJoin();
    void deviceThatJoinsAgainIsHeard();
    void answersOfBothKindsOfQuestionsAreChecked();
    void learnersDeviceIsNoRemote_data();
    void learnersDeviceIsNoRemote();
    void remoteIsObeyed();
    void namesAreCut();
    void answersAreCut();
    void lateAnswersAreToldAndNotCounted();
    void sameAnswerCountsOnce();
    void changedAnswerReplacesTheFirst();
    void answersToNoQuestionArePassedOver();
    void brokenMessagesArePassedOver();
};

namespace
{

// The list of learners is read at most once a second.
constexpr int LISTING_MS = 1200;

const QStringList NOBODY_ANSWERS{u"--think"_s, u"1000000"_s};

QString text(const QJsonObject &json)
{
    return QString::fromUtf8(QJsonDocument(json).toJson(QJsonDocument::Compact));
}

// A class with one learner, who does not answer by itself, and a question.
class HeardStage : public ClassStage
{
public:
    HeardStage()
        : ClassStage(NOBODY_ANSWERS), failed(host.get(), &LiveClass::failed),
          answered(host.get(), &LiveClass::answered),
          answeredLate(host.get(), &LiveClass::answeredLate)
    {
    }

    bool begin()
    {
        if (!enter(LiveClass::Live) || !hasLearner() || !ask())
            return false;
        learner = classroom.deviceId(0);
        return true;
    }
    bool ask()
    {
        const int before = classroom.countNow(u"received"_s, {{u"type"_s, u"questionStart"_s}});
        if (!succeeds(host->ask(u"Why?"_s, PollType::TEXT)))
            return false;
        const QJsonArray got = classroom.received(u"questionStart"_s, before + 1);
        question = got.last()[u"data"_s][u"id"_s].toString();
        return !question.isEmpty();
    }

    // A message on the presenters' address, in the name of a device.
    void say(const QString &from, const QString &type, const QString &payload)
    {
        const QJsonObject body{{u"type"_s, type}, {u"from"_s, from}};
        classroom.post(u"publish"_s,
                       {{u"address"_s, u".presenter"_s}, {u"body"_s, body}, {u"text"_s, payload}});
    }
    void answer(const QString &from, const QString &words, const QString &to)
    {
        say(from, u"questionResponse"_s,
            text({{u"questionId"_s, to}, {u"responseTime"_s, 7}, {u"answer"_s, words}}));
    }
    void answer(const QString &from, const QString &words) { answer(from, words, question); }
    void join(const QString &device, const QString &name)
    {
        say(device, u"join"_s, text({{u"userName"_s, name}, {u"deviceType"_s, u"tablet"_s}}));
    }

    // Somebody joins at the service, and says nothing. Returns the device's id.
    QString join(const QString &name)
    {
        PresenterClient client(nullptr, classroom.url());
        const QString body = text({{u"userName"_s, name},
                                   {u"sessionCode"_s, host->sessionCode()},
                                   {u"mode"_s, u"learner"_s},
                                   {u"deviceName"_s, u"Tablet"_s},
                                   {u"deviceType"_s, u"tablet"_s}});
        const QUrl url(classroom.url() + u"/vantora/classroom/session/join"_s);
        client.doRequest(true, url, body, nullptr, nullptr, false);
        const QJsonDocument reply = QJsonDocument::fromJson(client.getLastReply().text.toUtf8());
        return reply[u"data"_s][u"userToken"_s].toString();
    }

    // The known learner is heard after everybody who has spoken before.
    bool isHeardUpTo(const QString &words)
    {
        answer(learner, words);
        return QTest::qWaitFor([&] { return isAnswered(words); }, LIMIT_MS);
    }
    bool isAnswered(const QString &words) const
    {
        return !answered.isEmpty() && answered.last().at(2).toString() == words;
    }
    int respondents() const
    {
        return host->results()->index(0, 0).data(LiveClass::RespondentsRole).toInt();
    }
    QStringList names() const
    {
        QStringList names;
        for (int row = 0; row < host->learners()->rowCount(); ++row)
            names.append(host->learners()->index(row, 0).data(LiveClass::NameRole).toString());
        return names;
    }
    Failure::Reason lastFailure() const
    {
        return failed.isEmpty() ? Failure::NoReason
                                : failed.last().first().value<Failure>().reason();
    }

    QString learner;
    QString question;
    QSignalSpy failed;
    QSignalSpy answered;
    QSignalSpy answeredLate;
};

} // namespace

// ---- Devices that nobody knows -------------------------------------------------------------------

void tst_WhoIsHeard::answersOfUnknownDevicesAreToldOnceAndNotCounted()
{
    HeardStage stage;
    QVERIFY(stage.begin());
    stage.answer(u"nobody"_s, u"first"_s);
    stage.answer(u"nobody"_s, u"second"_s);
    QTRY_COMPARE_WITH_TIMEOUT(stage.failed.size(), 1, ClassStage::LIMIT_MS);
    QCOMPARE(stage.lastFailure(), Failure::UnknownDevice);
    stage.answer(u"nobody"_s, u"third"_s);
    QVERIFY(stage.isHeardUpTo(u"mine"_s));
    QTest::qWait(LISTING_MS);
    QCOMPARE(stage.failed.size(), 1);
    QCOMPARE(stage.answered.size(), 1);
    QTRY_COMPARE(stage.respondents(), 1);
    QCOMPARE(stage.host->learners()->rowCount(), 1);

    stage.answer(u"somebody else"_s, u"fourth"_s);
    QTRY_COMPARE_WITH_TIMEOUT(stage.failed.size(), 2, ClassStage::LIMIT_MS);
    QCOMPARE(stage.respondents(), 1);
}

void tst_WhoIsHeard::deviceThatOnlySaysThatItJoinsIsNotCounted()
{
    HeardStage stage;
    QVERIFY(stage.begin());
    stage.join(u"pretender"_s, u"Mallory"_s);
    QTRY_COMPARE(stage.names().size(), 2);
    QVERIFY(stage.names().contains(u"Mallory"_s));
    stage.answer(u"pretender"_s, u"votes"_s);
    QTRY_COMPARE_WITH_TIMEOUT(stage.failed.size(), 1, ClassStage::LIMIT_MS);
    QCOMPARE(stage.lastFailure(), Failure::UnknownDevice);
    QCOMPARE(stage.answered.size(), 0);
    QCOMPARE(stage.respondents(), 0);
}

// Its word that it joins came while nobody listened.
void tst_WhoIsHeard::listedDeviceIsCountedThoughNobodyHeardItJoin()
{
    HeardStage stage;
    QVERIFY(stage.begin());
    const QString quiet = stage.join(u"Quiet"_s);
    stage.answer(quiet, u"Hush"_s);
    QTRY_COMPARE_WITH_TIMEOUT(stage.answered.size(), 1, ClassStage::LIMIT_MS);
    QCOMPARE(stage.answered.first().first().toString(), quiet);
    QCOMPARE(stage.failed.size(), 0);
    QTRY_COMPARE(stage.respondents(), 1);
    QVERIFY(stage.names().contains(u"Quiet"_s));
}

// The service had forgotten it for a moment.
void tst_WhoIsHeard::deviceThatJoinsAgainIsHeard()
{
    HeardStage stage;
    QVERIFY(stage.begin());
    stage.fault(u"/vantora/session/getusers"_s, {{u"body"_s, u"{\"data\":{\"users\":[]}}"_s}});
    stage.answer(stage.learner, u"Lost"_s);
    QTRY_COMPARE_WITH_TIMEOUT(stage.failed.size(), 1, ClassStage::LIMIT_MS);
    stage.join(stage.learner, u"Ada"_s);
    QVERIFY(stage.isHeardUpTo(u"Found"_s));
    QCOMPARE(stage.answered.size(), 1);
    QTRY_COMPARE(stage.names(), QStringList{u"Ada"_s});
}

void tst_WhoIsHeard::answersOfBothKindsOfQuestionsAreChecked()
{
    HeardStage stage;
    QVERIFY(stage.begin());
    const QJsonObject pick{{u"input"_s, u"Yes"_s}};
    stage.say(u"nobody"_s, u"pollResponse"_s,
              text({{u"pollId"_s, stage.question}, {u"responseTime"_s, 1}, {u"pick"_s, pick}}));
    QTRY_COMPARE_WITH_TIMEOUT(stage.failed.size(), 1, ClassStage::LIMIT_MS);
    QCOMPARE(stage.lastFailure(), Failure::UnknownDevice);
    QCOMPARE(stage.answered.size(), 0);
}

// ---- The remote ----------------------------------------------------------------------------------

void tst_WhoIsHeard::learnersDeviceIsNoRemote_data()
{
    QTest::addColumn<QString>("command");
    QTest::newRow("pause") << u"pause"_s;
    QTest::newRow("next card") << u"nextCard"_s;
    QTest::newRow("stop") << u"stopSession"_s;
}

void tst_WhoIsHeard::learnersDeviceIsNoRemote()
{
    QFETCH(QString, command);
    HeardStage stage;
    QVERIFY(stage.begin());
    QSignalSpy commands(stage.host.get(), &LiveClass::remoteCommand);
    stage.say(stage.learner, command, u"{}"_s);
    stage.say(stage.learner, command, u"{}"_s);
    QVERIFY(stage.isHeardUpTo(u"still here"_s));
    QCOMPARE(stage.failed.size(), 1);
    QCOMPARE(stage.lastFailure(), Failure::ForeignCommand);
    QCOMPARE(commands.size(), 0);
    QVERIFY(!stage.host->isPaused());
    QCOMPARE(stage.host->state(), LiveClass::Live);
}

void tst_WhoIsHeard::remoteIsObeyed()
{
    HeardStage stage;
    QVERIFY(stage.begin());
    QSignalSpy commands(stage.host.get(), &LiveClass::remoteCommand);
    stage.classroom.post(u"remote"_s, {{u"command"_s, u"pause"_s}});
    QTRY_VERIFY(stage.host->isPaused());
    QTRY_COMPARE(commands.size(), 1);
    QCOMPARE(stage.failed.size(), 0);
    QCOMPARE(stage.classroom.received(u"pause"_s).size(), 1);
}

// ---- What is said --------------------------------------------------------------------------------

void tst_WhoIsHeard::namesAreCut()
{
    HeardStage stage;
    QVERIFY(stage.begin());
    stage.join(u"long"_s, QString(100000, u'N'));
    QTRY_COMPARE(stage.names().size(), 2);
    QCOMPARE(stage.names().filter(QString(64, u'N')).join(u""_s).size(), 64);
}

void tst_WhoIsHeard::answersAreCut()
{
    HeardStage stage;
    QVERIFY(stage.begin());
    stage.answer(stage.learner, QString(100000, u'A'));
    QTRY_COMPARE_WITH_TIMEOUT(stage.answered.size(), 1, ClassStage::LIMIT_MS);
    QCOMPARE(stage.answered.first().at(2).toString().size(), 10000);
    QTRY_COMPARE(stage.respondents(), 1);
}

void tst_WhoIsHeard::lateAnswersAreToldAndNotCounted()
{
    HeardStage stage;
    QVERIFY(stage.begin());
    const QString first = stage.question;
    QVERIFY(ClassStage::succeeds(stage.host->stopActivity()));
    stage.answer(stage.learner, u"after the end"_s);
    QTRY_COMPARE(stage.answeredLate.size(), 1);

    QVERIFY(stage.ask());
    stage.answer(stage.learner, u"long after the end"_s, first);
    QTRY_COMPARE(stage.answeredLate.size(), 2);
    QCOMPARE(stage.answeredLate.last(),
             (QVariantList{stage.learner, first, u"long after the end"_s, 7}));
    QCOMPARE(stage.answered.size(), 0);
    QCOMPARE(stage.respondents(), 0);
}

// Devices repeat an answer until they know that it has arrived.
void tst_WhoIsHeard::sameAnswerCountsOnce()
{
    HeardStage stage;
    QVERIFY(stage.begin());
    for (int i = 0; i < 3; ++i)
        stage.answer(stage.learner, u"Because"_s);
    QVERIFY(stage.isHeardUpTo(u"the end"_s));
    QCOMPARE(stage.answered.size(), 2);
    QTRY_COMPARE(stage.respondents(), 1);
}

void tst_WhoIsHeard::changedAnswerReplacesTheFirst()
{
    HeardStage stage;
    QVERIFY(stage.begin());
    stage.answer(stage.learner, u"Because"_s);
    QVERIFY(stage.isHeardUpTo(u"No idea"_s));
    const auto label = [&] {
        return stage.host->results()->index(0, 0).data(LiveClass::LabelRole).toString();
    };
    QTRY_COMPARE(label(), u"No idea"_s);
    QCOMPARE(stage.host->results()->rowCount(), 1);
    QCOMPARE(stage.respondents(), 1);
}

void tst_WhoIsHeard::answersToNoQuestionArePassedOver()
{
    HeardStage stage;
    QVERIFY(stage.begin());
    stage.answer(stage.learner, u"To what?"_s, u"no such question"_s);
    stage.answer(stage.learner, u"To nothing"_s, QString());
    QVERIFY(stage.isHeardUpTo(u"mine"_s));
    QCOMPARE(stage.answered.size(), 1);
    QCOMPARE(stage.answeredLate.size(), 0);
    QCOMPARE(stage.failed.size(), 0);
}

void tst_WhoIsHeard::brokenMessagesArePassedOver()
{
    HeardStage stage;
    QVERIFY(stage.begin());
    for (const QString &payload : {u"[]"_s, u"{\"questionId\":[]}"_s, u"not json"_s, QString()}) {
        stage.say(stage.learner, u"questionResponse"_s, payload);
        stage.say(stage.learner, u"join"_s, payload);
    }
    stage.join(QString(), u"Nobody"_s);
    stage.join(QString(100000, u'i'), u"Endless"_s);
    QVERIFY(stage.isHeardUpTo(u"mine"_s));
    QCOMPARE(stage.host->state(), LiveClass::Live);
    QCOMPARE(stage.answered.size(), 1);
    QCOMPARE(stage.host->learners()->rowCount(), 1);
    QCOMPARE(stage.failed.size(), 0);
}

QTEST_MAIN(tst_WhoIsHeard)

#include "tst_whoisheard.moc"
