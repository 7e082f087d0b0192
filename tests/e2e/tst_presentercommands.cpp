#include "e2e/PresenterProcess.h"
#include "support/Text.h"

// What the console host says to each command, and what learners' devices get of it.
class tst_PresenterCommands : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aQuestionIsAskedInWords();
    void whoHasAnsweredIsListed();
    void assessmentAnswersNameTheirQuestion();
    void everyCommandSaysWhatItDid();
    void textsAreSentAsAskedFor();
    void anImageServesOnePollOrCard();
    void aNameThatSeveralHaveIsNotGuessed();
    void remotesSeeLessonAndCard();
};

namespace
{

// The output behind the line that begins a command.
QString after(const PresenterProcess &presenter, const QString &command)
{
    const QString line = u"\n> "_s + command + u"\n"_s;
    const int begin = presenter.output().indexOf(line);
    return begin < 0 ? QString() : presenter.output().mid(begin + line.size());
}

} // namespace

void tst_PresenterCommands::aQuestionIsAskedInWords()
{
    Classroom classroom(words(u"--learners 2 --think 20"_s));
    PresenterProcess presenter;
    presenter.runPiped(classroom,
                       "await learners 2\n"
                       "ask 'Which of these is in Asia?' Ob Rhine Po\n"
                       "await responses all\n"
                       "stop\n");
    QVERIFY2(presenter.ended() == 0, qPrintable(presenter.output() + presenter.errors()));
    QCOMPARE(after(presenter, u"stop"_s),
             u"Question: 2 of 2 answered\n"
             "Which of these is in Asia?\n"
             "A Ob     ###############################                                 1   50%\n"
             "B Rhine  ###############################                                 1   50%\n"
             "C Po                                                                     0    0%\n"
             "Session stopped.\n"_s);
    const QJsonValue asked = classroom.receivedOne(u"questionStart"_s)[u"data"_s];
    QCOMPARE(asked[u"instructions"_s].toString(), u"Which of these is in Asia?"_s);
}

void tst_PresenterCommands::whoHasAnsweredIsListed()
{
    Classroom classroom(words(u"--learners 3 --think 20"_s));
    PresenterProcess presenter;
    presenter.run(classroom, {});
    presenter.write("await learners 3\nwho\npoll true-false\nawait responses all\n");
    QVERIFY(presenter.says(u"\n  Cleo: A\n"_s));
    classroom.remove(u"learners/"_s + classroom.deviceId(1));
    QVERIFY(presenter.says(u"- Ben (phone), 2 learners now\n"_s));
    presenter.write("who\n");
    QVERIFY(presenter.says(u"> who\n"
                           "3 of 3 learners answered:\n"
                           "1. Ada   A\n"
                           "-  Ben   (gone) B\n"
                           "2. Cleo  A\n"_s));
    QVERIFY(presenter.output().contains(u"> who\n"
                                        "0 of 3 learners answered:\n"
                                        "1. Ada   not yet\n"
                                        "2. Ben   not yet\n"
                                        "3. Cleo  not yet\n"_s));
}

void tst_PresenterCommands::assessmentAnswersNameTheirQuestion()
{
    Classroom classroom(words(u"--learners 1 --think 20"_s));
    PresenterProcess presenter;
    presenter.setWorkingDirectory(QStringLiteral(EXAMPLE_FOLDER));
    presenter.runPiped(classroom,
                       "await learners 1\n"
                       "assessment " EXAMPLE_FOLDER "/assessment.json\n"
                       "await responses all\n"
                       "who\n"
                       "stop\n");
    QVERIFY2(presenter.ended() == 0, qPrintable(presenter.output() + presenter.errors()));
    QVERIFY(after(presenter, u"await responses all"_s)
                .startsWith(u"  Ada, question 1: A,B\n"
                            "  Ada, question 2: B\n"
                            "  Ada, question 3: 3\n"_s));
    QVERIFY(after(presenter, u"who"_s).startsWith(u"1 of 1 learner answered:\n1. Ada  3\n"_s));
    QVERIFY(after(presenter, u"stop"_s)
                .startsWith(u"Assessment Rivers of Europe: 3 of 3 answered\n"
                            "1. Which of these flow into the Black Sea?\n"_s));
}

void tst_PresenterCommands::everyCommandSaysWhatItDid()
{
    Classroom classroom(words(u"--learners 2 --think 60000"_s));
    PresenterProcess presenter;
    presenter.setWorkingDirectory(QStringLiteral(EXAMPLE_FOLDER));
    presenter.runPiped(classroom,
                       "await learners 2\n"
                       "image " EXAMPLE_FOLDER "/slide.png\n"
                       "card\n"
                       "message all hi\n"
                       "message Ada hi\n"
                       "resume\n"
                       "poll text\n"
                       "pause\n"
                       "resume\n"
                       "stop\n"
                       "remove Ada\n");
    QVERIFY2(presenter.ended() == 0, qPrintable(presenter.output() + presenter.errors()));
    QCOMPARE(after(presenter, u"await learners 2"_s).section(u"> "_s, 1),
             u"image " EXAMPLE_FOLDER "/slide.png\n"
             "The next poll or card shows slide.png.\n"
             "> card\n"
             "Shown to 2 learners.\n"
             "> message all hi\n"
             "Sent to 2 learners.\n"
             "> message Ada hi\n"
             "Sent to Ada.\n"
             "> resume\n"
             "Resumed.\n"
             "> poll text\n"
             "> pause\n"
             "Paused.\n"
             "> resume\n"
             "Resumed.\n"
             "> stop\n"
             "Poll text: 0 of 2 answered\n"
             "> remove Ada\n"
             "Removed Ada (tablet), 1 learner now.\n"
             "Session stopped.\n"_s);
}

void tst_PresenterCommands::textsAreSentAsAskedFor()
{
    Classroom classroom(words(u"--learners 1"_s));
    PresenterProcess presenter;
    presenter.runPiped(classroom,
                       "await learners 1\n"
                       "message 1 can be closed\n"
                       "message --fixed 1 stays\n"
                       "message --review 1 well done\n");
    QCOMPARE(presenter.ended(), 0);
    const QJsonArray dialogs = classroom.received(u"dialogShow"_s, 2);
    QCOMPARE(dialogs.at(0)[u"data"_s][u"isDismissible"_s].toBool(), true);
    QCOMPARE(dialogs.at(1)[u"data"_s][u"isDismissible"_s].toBool(), false);
    QCOMPARE(classroom.received(u"questionSetReview"_s).size(), 1);
}

void tst_PresenterCommands::anImageServesOnePollOrCard()
{
    Classroom classroom(words(u"--learners 1 --think 20"_s));
    PresenterProcess presenter;
    presenter.runPiped(classroom,
                       "await learners 1\n"
                       "image http://127.0.0.1:1/river.png\n"
                       "poll true-false\n"
                       "await responses all\n"
                       "stop\n"
                       "card\n");
    QCOMPARE(presenter.ended(), 1);
    QVERIFY(presenter.output().contains(
        u"The next poll or card shows http://127.0.0.1:1/river.png.\n"_s));
    QCOMPARE(presenter.errors(),
             u"tarvo-presenter: standard input:6: card: There is no image to show; set one with "
             "image FILE.\n"_s);
    const QByteArray asked =
        QJsonDocument(classroom.receivedOne(u"questionStart"_s).toObject()).toJson();
    QVERIFY2(asked.contains("http://127.0.0.1:1/river.png"), asked);
}

void tst_PresenterCommands::aNameThatSeveralHaveIsNotGuessed()
{
    Classroom classroom;
    PresenterProcess presenter;
    presenter.run(classroom, {});
    QVERIFY(presenter.says(u"is open"_s));
    QVERIFY(classroom.presenterIsRegistered());
    for (const QString &device : {u"d-1"_s, u"d-2"_s}) {
        classroom.post(u"publish"_s,
                       {{u"address"_s, u".presenter"_s},
                        {u"body"_s, QJsonObject{{u"type"_s, u"join"_s}, {u"from"_s, device}}},
                        {u"text"_s, uR"({"userName":"Ada","deviceType":"phone"})"_s}});
    }
    QVERIFY(presenter.says(u"2 learners now"_s));
    presenter.write("message Ada hi\n");
    QCOMPARE(presenter.ended(), 1);
    QCOMPARE(presenter.errors(),
             u"tarvo-presenter: standard input:1: message Ada hi: 2 learners are called "
             "Ada: use 1 or 2.\n"_s);
}

void tst_PresenterCommands::remotesSeeLessonAndCard()
{
    Classroom classroom;
    PresenterProcess presenter;
    presenter.run(classroom, {});
    presenter.write("lesson L-1 Rivers\n");
    QVERIFY(presenter.says(u"A remote that comes will show lesson L-1, Rivers.\n"_s));
    QVERIFY(classroom.presenterIsRegistered());
    classroom.post(u"remote"_s, {{u"command"_s, u"requestLessonInfo"_s}});
    QVERIFY(presenter.says(u"+ remote\n"_s));
    QCOMPARE(classroom.received(u"currentLesson"_s).size(), 1);
    presenter.write("current 2 12\n");
    QVERIFY(presenter.says(u"The remote shows card 2 of 12.\n"_s));
    classroom.post(u"remote"_s, {{u"command"_s, u"nextCard"_s}});
    QVERIFY(presenter.says(u"* remote: nextCard\n"_s));
    const QJsonArray cards = classroom.received(u"currentCard"_s, 2);
    QCOMPARE(cards.at(1)[u"data"_s][u"currentCard"_s].toString(), u"3"_s);
    classroom.remove(u"remote"_s);
    QVERIFY(presenter.says(u"- remote\n"_s));
}

QTEST_GUILESS_MAIN(tst_PresenterCommands)
#include "tst_presentercommands.moc"
