#include "ClassStage.h"

#include "model/OrdinalType.h"
#include "model/PollType.h"

using namespace Tarvo;

// A lesson as a window teaches it, against the service and its simulated learners.
class tst_LiveClass : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void signInTellsWhoIsSignedIn();
    void startShowsTheCodeThatLearnersTypeIn();
    void applicationsProxyIsNotUsed();
    void learnersAreShown();
    void whoJoinsTooEarlyIsToldOfWhenTheClassIsLive();
    void answersOfAPollAreCounted();
    void questionWithWordsIsCountedByItsOptions();
    void pollsOfTheFixedKindsLeaveASecondApart();
    void secondActivityIsRefusedWhileOneRuns();
    void pauseAndResumeReachTheDevices();
    void stoppingAnActivityLiftsItsPause();
    void assessmentIsAnsweredQuestionByQuestion();
    void imageIsShownByItsAddress();
    void imageIsSentWholeWhenTheServiceTakesNoUpload();
    void pollStandsOnItsImage();
    void pollStandsOnItsUploadedImage();
    void pollsImageIsSentWholeWhenTheServiceTakesNoUpload();
    void nextPollHasNoImage();
    void pollOnWhatIsNoPictureIsRefused();
    void textReachesEveryLearner();
    void textIsShownAsAskedFor_data();
    void textIsShownAsAskedFor();
    void removedLearnerIsGone();
    void lessonAndCardAnswerTheRemote();
    void remoteIsToldOfWhenItComesAndGoes();
    void stopIsConfirmed();
    void nextSessionBeginsAnew();
};

namespace
{

const QStringList FIVE_LEARNERS{u"--learners"_s,     u"5"_s, u"--join-every"_s, u"1"_s,
                                u"--learner-stay"_s, u"0"_s, u"--think"_s,      u"50"_s};
const QByteArray PNG("\x89PNG\r\n\x1a\n, for all that devices care");

// A session with five learners in it.
class Lesson : public ClassStage
{
public:
    explicit Lesson(const QStringList &options = FIVE_LEARNERS) : ClassStage(options) { }

    bool begin()
    {
        return enter(LiveClass::Live)
            && QTest::qWaitFor([this] { return host->learners()->rowCount() == 5; }, LIMIT_MS);
    }
    int respondents() const
    {
        return host->results()->index(0, 0).data(LiveClass::RespondentsRole).toInt();
    }
    bool areAnswered(int count) const
    {
        return QTest::qWaitFor([&] { return respondents() == count; }, LIMIT_MS);
    }
    QStringList texts(QAbstractItemModel *model, int role) const
    {
        QStringList texts;
        for (int row = 0; row < model->rowCount(); ++row)
            texts.append(model->index(row, 0).data(role).toString());
        return texts;
    }
    // On which the devices show the latest question.
    QString backgroundOfQuestion(int number)
    {
        const QJsonArray questions = classroom.received(u"questionStart"_s, number * 5);
        const QJsonValue card = questions.last()[u"data"_s][u"card"_s];
        return card[u"styles"_s][u"backgroundImage"_s].toString();
    }
    int ticks() const
    {
        int ticks = 0;
        for (int row = 0; row < host->results()->rowCount(); ++row)
            ticks += host->results()->index(row, 0).data(LiveClass::CountRole).toInt();
        return ticks;
    }
};

} // namespace

void tst_LiveClass::signInTellsWhoIsSignedIn()
{
    ClassStage stage;
    QSignalSpy names(stage.host.get(), &LiveClass::userNameChanged);
    QVERIFY(stage.enter(LiveClass::SignedIn));
    QCOMPARE(stage.host->userName(), u"teacher"_s);
    QCOMPARE(names.size(), 1);
}

void tst_LiveClass::startShowsTheCodeThatLearnersTypeIn()
{
    ClassStage stage;
    QVERIFY(stage.enter(LiveClass::Live));
    const QJsonArray sessions = stage.classroom.get(u"sessions"_s).toArray();
    QCOMPARE(sessions.size(), 1);
    QCOMPARE(stage.host->sessionCode(), sessions.first().toObject().value(u"code"_s).toString());
    QCOMPARE(stage.host->transport(), u"websocket"_s);
}

void tst_LiveClass::applicationsProxyIsNotUsed()
{
    ClassStage stage;
    QNetworkProxy::setApplicationProxy({QNetworkProxy::HttpProxy, u"127.0.0.1"_s, 9});
    const bool isLive = stage.enter(LiveClass::Live);
    QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
    QVERIFY(isLive);
}

void tst_LiveClass::learnersAreShown()
{
    Lesson lesson;
    QSignalSpy joined(lesson.host.get(), &LiveClass::learnerJoined);
    QVERIFY(lesson.begin());
    QCOMPARE(joined.size(), 5);
    QStringList names = lesson.texts(lesson.host->learners(), LiveClass::NameRole);
    names.sort();
    QCOMPARE(names, (QStringList{u"Ada"_s, u"Ben"_s, u"Cleo"_s, u"Dan"_s, u"Eva"_s}));
}

// The channel is open, and the list of learners is still on its way.
void tst_LiveClass::whoJoinsTooEarlyIsToldOfWhenTheClassIsLive()
{
    ClassStage stage;
    QVERIFY(stage.enter(LiveClass::SignedIn));
    stage.hang(u"/vantora/session/getusers"_s);
    QVector<LiveClass::State> toldIn;
    Operation asked;
    QObject::connect(stage.host.get(), &LiveClass::learnerJoined, this, [&] {
        toldIn.append(stage.host->state());
        asked = stage.host->ask(u"Are you there?"_s, PollType::MULTIPLE, {u"yes"_s, u"no"_s});
    });
    const Operation started = stage.host->start();
    QVERIFY(stage.classroom.presenterIsRegistered());
    stage.classroom.post(u"learners"_s, {});
    QVERIFY(ClassStage::succeeds(started));
    QTRY_COMPARE_WITH_TIMEOUT(toldIn.size(), 1, ClassStage::LIMIT_MS);
    QCOMPARE(toldIn.first(), LiveClass::Live);
    QVERIFY(ClassStage::succeeds(asked));
}

void tst_LiveClass::answersOfAPollAreCounted()
{
    Lesson lesson;
    QVERIFY(lesson.begin());
    QSignalSpy answered(lesson.host.get(), &LiveClass::answered);
    QVERIFY(ClassStage::succeeds(
        lesson.host->startPoll(PollType::YES_NO_OTHER, OrdinalType::YES_NO, 2)));
    QCOMPARE(lesson.host->activity(), LiveClass::Poll);
    QVERIFY(lesson.areAnswered(5));
    QCOMPARE(lesson.texts(lesson.host->results(), LiveClass::LabelRole),
             (QStringList{u"A YES"_s, u"B NO"_s}));
    QCOMPARE(lesson.ticks(), 5);
    QCOMPARE(answered.size(), 5);
}

void tst_LiveClass::questionWithWordsIsCountedByItsOptions()
{
    Lesson lesson;
    QVERIFY(lesson.begin());
    QVERIFY(ClassStage::succeeds(lesson.host->ask(u"Which is longest?"_s, PollType::MULTIPLE,
                                                  {u"Danube"_s, u"Rhine"_s, u"Volga"_s})));
    QVERIFY(lesson.areAnswered(5));
    QCOMPARE(lesson.texts(lesson.host->results(), LiveClass::LabelRole),
             (QStringList{u"A Danube"_s, u"B Rhine"_s, u"C Volga"_s}));
    const QModelIndex first = lesson.host->results()->index(0, 0);
    QCOMPARE(first.data(LiveClass::QuestionTextRole).toString(), u"Which is longest?"_s);
}

void tst_LiveClass::pollsOfTheFixedKindsLeaveASecondApart()
{
    Lesson lesson;
    QVERIFY(lesson.begin());
    QVERIFY(ClassStage::succeeds(
        lesson.host->startPoll(PollType::TRUE_FALSE, OrdinalType::TRUE_FALSE, 2)));
    QVERIFY(lesson.areAnswered(5));
    QVERIFY(ClassStage::succeeds(lesson.host->stopActivity()));
    QVERIFY(ClassStage::succeeds(
        lesson.host->startPoll(PollType::TRUE_FALSE, OrdinalType::TRUE_FALSE, 2)));
    QVERIFY(lesson.areAnswered(5));
}

void tst_LiveClass::secondActivityIsRefusedWhileOneRuns()
{
    Lesson lesson;
    QVERIFY(lesson.begin());
    QVERIFY(ClassStage::succeeds(lesson.host->ask(u"Why?"_s, PollType::TEXT)));
    QCOMPARE(ClassStage::failureOf(lesson.host->ask(u"Why not?"_s, PollType::TEXT)),
             Failure::NotAllowed);
}

void tst_LiveClass::pauseAndResumeReachTheDevices()
{
    Lesson lesson;
    QVERIFY(lesson.begin());
    QVERIFY(ClassStage::succeeds(lesson.host->ask(u"Why?"_s, PollType::TEXT)));
    QVERIFY(ClassStage::succeeds(lesson.host->pause()));
    QVERIFY(lesson.host->isPaused());
    QCOMPARE(lesson.classroom.received(u"pause"_s, 5).size(), 5);
    QVERIFY(ClassStage::succeeds(lesson.host->resume()));
    QVERIFY(!lesson.host->isPaused());
    QCOMPARE(lesson.classroom.received(u"resume"_s, 5).size(), 5);
}

void tst_LiveClass::stoppingAnActivityLiftsItsPause()
{
    Lesson lesson;
    QVERIFY(lesson.begin());
    QVERIFY(ClassStage::succeeds(lesson.host->ask(u"Why?"_s, PollType::TEXT)));
    QVERIFY(ClassStage::succeeds(lesson.host->pause()));
    QVERIFY(ClassStage::succeeds(lesson.host->stopActivity()));
    QCOMPARE(lesson.host->activity(), LiveClass::NoActivity);
    QVERIFY(!lesson.host->isPaused());
    QCOMPARE(lesson.classroom.received(u"resume"_s, 5).size(), 5);
    QCOMPARE(lesson.classroom.received(u"pollStop"_s, 5).size(), 5);
}

void tst_LiveClass::assessmentIsAnsweredQuestionByQuestion()
{
    Lesson lesson;
    QVERIFY(lesson.begin());
    Assessment assessment;
    assessment.title = u"Rivers"_s;
    assessment.questions = {
        {PollType::MULTIPLE,
         OrdinalType::ALPHA_UPPER,
         u"Which?"_s,
         {{u"A"_s, u"Danube"_s}, {u"B"_s, u"Rhine"_s}},
         {}},
        {PollType::NUMBER, OrdinalType::GENERIC, u"How many?"_s, {}, {}},
    };
    QVERIFY(ClassStage::succeeds(lesson.host->startAssessment(assessment)));
    QCOMPARE(lesson.host->activity(), LiveClass::Assessment);
    QVERIFY(lesson.areAnswered(5));
    const auto answersToTheSecond = [&] {
        const int last = lesson.host->results()->rowCount() - 1;
        const QModelIndex row = lesson.host->results()->index(last, 0);
        return row.data(LiveClass::QuestionTextRole).toString() == u"How many?"_s
            ? row.data(LiveClass::RespondentsRole).toInt()
            : 0;
    };
    QTRY_COMPARE_WITH_TIMEOUT(answersToTheSecond(), 5, ClassStage::LIMIT_MS);
    const QStringList ids = lesson.texts(lesson.host->results(), LiveClass::QuestionRole);
    QVERIFY2(ids.first().endsWith(u"-1"_s), qPrintable(ids.first()));
    QVERIFY2(ids.last().endsWith(u"-2"_s), qPrintable(ids.last()));
    QVERIFY(ClassStage::succeeds(lesson.host->stopActivity()));
    QCOMPARE(lesson.classroom.received(u"assessmentStop"_s, 5).size(), 5);
}

void tst_LiveClass::imageIsShownByItsAddress()
{
    Lesson lesson;
    QVERIFY(lesson.begin());
    QVERIFY(ClassStage::succeeds(lesson.host->showImage(PNG)));
    const QUrl shown(lesson.classroom.shownImage());
    QVERIFY(shown.toString().startsWith(lesson.proxy.url()));
    QCOMPARE(lesson.classroom.download(shown.path() + u'?' + shown.query()), PNG);
}

void tst_LiveClass::imageIsSentWholeWhenTheServiceTakesNoUpload()
{
    Lesson lesson;
    QVERIFY(lesson.begin());
    lesson.classroom.fail(u"/vantora/resource/uploadResourceFile"_s, 500, QString());
    QVERIFY(ClassStage::succeeds(lesson.host->showImage(PNG)));
    QCOMPARE(lesson.classroom.shownImage(),
             u"data:image/png;base64,"_s + QString::fromLatin1(PNG.toBase64()));
}

void tst_LiveClass::pollStandsOnItsImage()
{
    Lesson lesson;
    QVERIFY(lesson.begin());
    const QString url = u"https://pictures.example/o'clock.png"_s;
    QVERIFY(ClassStage::succeeds(
        lesson.host->startPollWithImageAt(PollType::MULTIPLE, OrdinalType::ALPHA_UPPER, 3, url)));
    QCOMPARE(lesson.backgroundOfQuestion(1), u"url('https://pictures.example/o%27clock.png')"_s);
}

void tst_LiveClass::pollStandsOnItsUploadedImage()
{
    Lesson lesson;
    QVERIFY(lesson.begin());
    QVERIFY(ClassStage::succeeds(
        lesson.host->startPollWithImage(PollType::MULTIPLE, OrdinalType::ALPHA_UPPER, 3, PNG)));
    const QString background = lesson.backgroundOfQuestion(1);
    QVERIFY2(background.startsWith(u"url('"_s + lesson.proxy.url()), qPrintable(background));
    const QUrl shown(background.mid(5).chopped(2));
    QCOMPARE(lesson.classroom.download(shown.path() + u'?' + shown.query()), PNG);
}

void tst_LiveClass::pollsImageIsSentWholeWhenTheServiceTakesNoUpload()
{
    Lesson lesson;
    QVERIFY(lesson.begin());
    lesson.classroom.fail(u"/vantora/resource/uploadResourceFile"_s, 500, QString());
    QVERIFY(ClassStage::succeeds(
        lesson.host->startPollWithImage(PollType::MULTIPLE, OrdinalType::ALPHA_UPPER, 3, PNG)));
    QCOMPARE(lesson.backgroundOfQuestion(1),
             u"data:image/png;base64,"_s + QString::fromLatin1(PNG.toBase64()));
}

void tst_LiveClass::nextPollHasNoImage()
{
    Lesson lesson;
    QVERIFY(lesson.begin());
    QVERIFY(ClassStage::succeeds(lesson.host->startPollWithImageAt(
        PollType::MULTIPLE, OrdinalType::ALPHA_UPPER, 3, u"http://x/1.png"_s)));
    QVERIFY(ClassStage::succeeds(lesson.host->stopActivity()));
    QVERIFY(ClassStage::succeeds(
        lesson.host->startPoll(PollType::MULTIPLE, OrdinalType::ALPHA_UPPER, 3)));
    QCOMPARE(lesson.backgroundOfQuestion(2), QString());
}

void tst_LiveClass::pollOnWhatIsNoPictureIsRefused()
{
    Lesson lesson;
    QVERIFY(lesson.begin());
    QCOMPARE(ClassStage::failureOf(lesson.host->startPollWithImage(
                 PollType::MULTIPLE, OrdinalType::ALPHA_UPPER, 3, "GIF89a")),
             Failure::InvalidArgument);
    QCOMPARE(ClassStage::failureOf(lesson.host->startPollWithImageAt(
                 PollType::MULTIPLE, OrdinalType::ALPHA_UPPER, 3, u"http://x/\".png"_s)),
             Failure::InvalidArgument);
    QCOMPARE(lesson.host->activity(), LiveClass::NoActivity);
}

void tst_LiveClass::textReachesEveryLearner()
{
    Lesson lesson;
    QVERIFY(lesson.begin());
    QVERIFY(ClassStage::succeeds(lesson.host->sendText(u"Say \"hi\""_s)));
    QCOMPARE(lesson.classroom.received(u"dialogShow"_s, 5).size(), 5);
    const QJsonObject data = lesson.classroom.receivedOne(u"dialogShow"_s).toObject();
    QCOMPARE(data.value(u"data"_s).toObject().value(u"text"_s).toString(), u"Say \"hi\""_s);
}

void tst_LiveClass::textIsShownAsAskedFor_data()
{
    QTest::addColumn<LiveClass::TextOption>("option");
    QTest::addColumn<QString>("type");
    QTest::addColumn<QJsonObject>("data");
    const QJsonObject plain{{u"text"_s, u"Hi"_s}, {u"isDismissible"_s, true}};
    const QJsonObject fixed{{u"text"_s, u"Hi"_s}, {u"isDismissible"_s, false}};
    const QJsonObject review{{u"text"_s, u"Hi"_s}, {u"showNavigation"_s, true}};
    QTest::newRow("plain") << LiveClass::PlainText << u"dialogShow"_s << plain;
    QTest::newRow("fixed") << LiveClass::FixedText << u"dialogShow"_s << fixed;
    QTest::newRow("review") << LiveClass::ReviewText << u"questionSetReview"_s << review;
}

void tst_LiveClass::textIsShownAsAskedFor()
{
    QFETCH(LiveClass::TextOption, option);
    QFETCH(QString, type);
    Lesson lesson;
    QVERIFY(lesson.begin());
    const QString ada = lesson.classroom.deviceId(0);
    QVERIFY(ClassStage::succeeds(lesson.host->sendTextTo(ada, u"Hi"_s, option)));
    const QJsonValue received = lesson.classroom.receivedOne(type);
    QTEST(received[u"data"_s].toObject(), "data");
}

void tst_LiveClass::removedLearnerIsGone()
{
    Lesson lesson;
    QVERIFY(lesson.begin());
    QSignalSpy left(lesson.host.get(), &LiveClass::learnerLeft);
    const QString ada = lesson.classroom.deviceId(0);
    QVERIFY(ClassStage::succeeds(lesson.host->removeLearner(ada)));
    QTRY_COMPARE(left.size(), 1);
    QCOMPARE(left.first().first().toString(), ada);
    QTRY_COMPARE(lesson.classroom.learners().size(), 4);
}

void tst_LiveClass::lessonAndCardAnswerTheRemote()
{
    Lesson lesson;
    QVERIFY(lesson.begin());
    QVERIFY(ClassStage::succeeds(lesson.host->showLesson(u"L1"_s, u"Rivers"_s)));
    QVERIFY(ClassStage::succeeds(lesson.host->showCard(2, 3)));
    QSignalSpy commands(lesson.host.get(), &LiveClass::remoteCommand);
    lesson.classroom.post(u"remote"_s, {{u"command"_s, u"requestLessonInfo"_s}});
    // Once for its coming and its command together, or on a busy machine for each.
    QVERIFY(!lesson.classroom.received(u"currentLesson"_s).isEmpty());
    QVERIFY(!lesson.classroom.received(u"currentCard"_s).isEmpty());
    QTRY_COMPARE(commands.size(), 1);
    QCOMPARE(commands.first().first().toString(), u"requestLessonInfo"_s);
}

void tst_LiveClass::remoteIsToldOfWhenItComesAndGoes()
{
    Lesson lesson;
    QVERIFY(lesson.begin());
    QSignalSpy remotes(lesson.host.get(), &LiveClass::remoteChanged);
    lesson.classroom.post(u"remote"_s, {{u"command"_s, u"nextCard"_s}});
    lesson.classroom.post(u"remote"_s, {{u"command"_s, u"nextCard"_s}});
    QTRY_COMPARE(remotes.size(), 1);
    QVERIFY(ClassStage::succeeds(lesson.host->stop()));
    QTRY_COMPARE(remotes.size(), 2);
    QCOMPARE(remotes[0][0].toBool(), true);
    QCOMPARE(remotes[1][0].toBool(), false);
}

void tst_LiveClass::stopIsConfirmed()
{
    Lesson lesson;
    QVERIFY(lesson.begin());
    QSignalSpy ended(lesson.host.get(), &LiveClass::ended);
    QVERIFY(ClassStage::succeeds(lesson.host->stop()));
    QCOMPARE(lesson.host->state(), LiveClass::Ended);
    QVERIFY(lesson.hasNoSession());
    QTRY_COMPARE(ended.size(), 1);
    QCOMPARE(ended.first().first().value<Failure::Reason>(), Failure::NoReason);
    QCOMPARE(lesson.host->sessionCode(), QString());
}

void tst_LiveClass::nextSessionBeginsAnew()
{
    Lesson lesson;
    QVERIFY(lesson.begin());
    QVERIFY(ClassStage::succeeds(lesson.host->stop()));
    QVERIFY(ClassStage::succeeds(lesson.host->start()));
    QTRY_COMPARE_WITH_TIMEOUT(lesson.host->learners()->rowCount(), 5, ClassStage::LIMIT_MS);
    QVERIFY(ClassStage::succeeds(lesson.host->ask(u"Why?"_s, PollType::TEXT)));
    QVERIFY(lesson.areAnswered(5));
}

QTEST_MAIN(tst_LiveClass)

#include "tst_liveclass.moc"
