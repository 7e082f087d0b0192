// The question object of every poll: its class, its options and how they are labelled.
#include "OpenChannel.h"
#include "model/JsonSerializer.h"
#include "model/PollQuestion.h"
#include "model/QuestionBaseWithOptions.h"

#include <QtTest/QtTest>

#include <memory>

using Tarvo::OrdinalType;
using Tarvo::PollType;
using Tarvo::QuestionBase;
using Tarvo::QuestionBaseWithOptions;

namespace
{

QString ordinalName(int ordinal)
{
    const QStringList names{"true-false",   "yes-no",      "yes-no-maybe", "yes-no-unsure",
                            "yes-no-other", "alpha-upper", "alpha-lower",  "number",
                            "agreement",    "confidence",  "generic"};
    return names.value(ordinal);
}

// The id and the text of option i.
QPair<QString, QString> expectedLabel(int ordinal, int i)
{
    if (ordinal <= 4) {
        const char *const ids[] = {"A", "B", "?"};
        const char *const trueFalse[] = {"TRUE", "FALSE", "DONTKNOW"};
        const char *const yesNo[] = {"YES", "NO", "DONTKNOW"};
        const int shown = qMin(i, 2);
        return {ids[shown], ordinal == 0 ? trueFalse[shown] : yesNo[shown]};
    }
    const QString label = ordinal == 5 ? QString(QChar('A' + i))
        : ordinal == 6                 ? QString(QChar('a' + i))
                                       : QString::number(i);
    return {label, label};
}

} // namespace

class tst_PollQuestion : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void questionOfEveryPoll_data();
    void questionOfEveryPoll();
    void thirdAndFurtherYesNoOptionsAreAllDontKnow();
    void channelMakesTheSameQuestions();
};

void tst_PollQuestion::questionOfEveryPoll_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("ordinal");
    QTest::addColumn<int>("count");

    for (int kind = 0; kind < int(std::size(pollKinds)); ++kind) {
        for (int ordinal = 0; ordinal <= 11; ++ordinal) {
            for (const int count : {-1, 0, 1, 2, 3, 26, 100})
                QTest::addRow("kind %d, ordinal %d, count %d", pollKinds[kind].value, ordinal,
                              count)
                    << kind << ordinal << count;
        }
    }
}

void tst_PollQuestion::questionOfEveryPoll()
{
    QFETCH(int, kind);
    QFETCH(int, ordinal);
    QFETCH(int, count);
    const PollKind &expected = pollKinds[kind];
    const auto question = Tarvo::pollQuestion(
        expected.type(), static_cast<OrdinalType::ORDINAL_TYPE>(ordinal), count);
    QCOMPARE(question == nullptr, expected.className == nullptr);
    if (!question)
        return;
    QVERIFY(!question->parent());
    QCOMPARE(question->metaObject()->className(), expected.className);
    QCOMPARE(question->getType(), QLatin1String(expected.name));

    auto *withOptions = qobject_cast<QuestionBaseWithOptions *>(question.get());
    QCOMPARE(withOptions != nullptr, expected.hasOptions);
    if (!withOptions)
        return;
    const QVariantList options = withOptions->activityOptions();
    QCOMPARE(options.size(), qMax(count, 0));
    QVariantList numbers;
    for (int i = 0; i < count; ++i) {
        const auto [id, text] = expectedLabel(ordinal, i);
        QCOMPARE(options.at(i).toMap(),
                 (QVariantMap{
                     {"id", id}, {"optionText", text}, {"displaySeqNumber", i}, {"math", false}}));
        numbers.append(i);
    }
    QCOMPARE(withOptions->metadata()->property("ordinalType").toString(),
             count >= 1 ? ordinalName(ordinal) : QString());
    QCOMPARE(withOptions->metadata()->property("options").toList(), numbers);
}

void tst_PollQuestion::thirdAndFurtherYesNoOptionsAreAllDontKnow()
{
    const auto question = Tarvo::pollQuestion(PollType::TRUE_FALSE, OrdinalType::YES_NO_MAYBE, 5);
    QStringList labels;
    const QVariantList options =
        qobject_cast<QuestionBaseWithOptions *>(question.get())->activityOptions();
    for (const QVariant &option : options)
        labels.append(option.toMap().value("id").toString()
                      + option.toMap().value("optionText").toString());
    QCOMPARE(labels, (QStringList{"AYES", "BNO", "?DONTKNOW", "?DONTKNOW", "?DONTKNOW"}));
}

// Whatever its last number.
void tst_PollQuestion::channelMakesTheSameQuestions()
{
    UnopenedChannel channel;
    const auto textOf = [](QuestionBase *question) {
        if (question)
            question->setID("q");
        return Tarvo::JsonSerializer::serializeToJson(question);
    };
    for (const PollKind &kind : pollKinds) {
        const auto expected = Tarvo::pollQuestion(kind.type(), OrdinalType::ALPHA_LOWER, 2);
        for (const int unused : {0, 7, -1}) {
            const std::unique_ptr<QuestionBase> made(
                channel.createPollQuestion(kind.type(), OrdinalType::ALPHA_LOWER, 2, unused));
            QCOMPARE(made == nullptr, expected == nullptr);
            QCOMPARE(textOf(made.get()), textOf(expected.get()));
        }
    }
}

QTEST_GUILESS_MAIN(tst_PollQuestion)
#include "tst_pollquestion.moc"
