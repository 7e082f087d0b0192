#include "Part.h"

#include "model/ActivityOption.h"
#include "model/AssessmentOptions.h"
#include "model/Card.h"
#include "model/JsonSerializer.h"
#include "model/PollQuestion.h"
#include "model/QuestionCreative.h"
#include "model/QuestionFeedback.h"
#include "model/QuestionMathFormula.h"
#include "model/QuestionMultiChoice.h"
#include "model/QuestionNumeric.h"
#include "model/QuestionScale.h"
#include "model/QuestionSort.h"
#include "model/QuestionText.h"
#include "model/QuestionWordSeed.h"
#include "model/QuestionYesNo.h"

using namespace Tarvo;

namespace
{

// A kind of question of the host's own: the library calls its functions.
class Drawing : public QuestionBaseWithOptions
{
    Q_OBJECT

public:
    using QuestionBaseWithOptions::QuestionBaseWithOptions;

    QString getType() const override { return QStringLiteral("drawing"); }
    void inferOrdinalType() override { ++inferred; }
    void setPriorAnswer(QString answer) override
    {
        setPriorOptionPerCharacter(answer);
        prior = answer;
    }

    int inferred = 0; // behind everything that the library's classes have
    QString prior;
};

// A kind that only this file knows.
class Sketch : public QuestionBase
{
    Q_OBJECT

public:
    using QuestionBase::QuestionBase;

    QString getType() const override { return QStringLiteral("sketch"); }
    QuestionFeedback *feedback() const { return feedbackRecord(); }
};

bool derives()
{
    Drawing drawing(nullptr);
    drawing.addActivityOption(QStringLiteral("1"), QStringLiteral("a house"), 1);
    drawing.setOrdinals(OrdinalType::ALPHA_LOWER);
    drawing.setMetadata(OrdinalType::NUMBER, 2);
    QuestionBase &question = drawing;
    question.inferOrdinalType();
    question.setPriorAnswer(QStringLiteral("1"));
    EXPECT(drawing.inferred == 1 && drawing.prior == QStringLiteral("1"));
    EXPECT(drawing.activityOptions().size() == 1);
    EXPECT(drawing.property("type").toString() == QStringLiteral("drawing"));
    EXPECT(JsonSerializer::serializeToJson(&drawing).contains(QStringLiteral("\"drawing\"")));

    Sketch sketch(nullptr);
    sketch.setPriorAnswer(QStringLiteral("a tree"));
    EXPECT(sketch.feedback() && sketch.getType() == QStringLiteral("sketch"));
    return true;
}

template<typename Question> bool isOf(const char *type)
{
    QObject parent;
    auto question = new Question(&parent);
    question->sethint(QStringLiteral("look"));
    question->setID(QStringLiteral("q1"));
    EXPECT(question->property("type").toString() == QLatin1String(type));
    EXPECT(question->property("hint").toString() == QStringLiteral("look"));
    const QVariantMap map = JsonSerializer::buildObjectMap(
        question, JsonSerializer::getIgnorePropertiesList(), JsonSerializer::MAX_RECURSE_DEPTH);
    EXPECT(map.value(QStringLiteral("id")).toString() == QStringLiteral("q1"));
    return true;
}

bool hasAllKinds()
{
    return isOf<QuestionNumeric>("number") && isOf<QuestionText>("text")
        && isOf<QuestionMathFormula>("math formula") && isOf<QuestionWordSeed>("word-seed")
        && isOf<QuestionMultiChoice>("multiple") && isOf<QuestionYesNo>("yes-no-other")
        && isOf<QuestionSort>("sort") && isOf<QuestionScale>("scale")
        && isOf<QuestionCreative>("creative");
}

bool hasRecords()
{
    Card card(nullptr);
    card.setBackgroundImage(QStringLiteral("url"));
    EXPECT(card.styles().values().contains(QStringLiteral("url")));
    AssessmentOptions options(nullptr);
    options.settitle(QStringLiteral("Rivers"));
    options.setquestionCount(3);
    EXPECT(options.property("questionCount").toInt() == 3 && options.title().size() == 6);
    ActivityOption option(nullptr);
    option.setoptionText(QStringLiteral("yes"));
    EXPECT(option.property("optionText").toString() == QStringLiteral("yes"));
    QuestionMetadata metadata(nullptr);
    metadata.setordinalType(QStringLiteral("number"));
    EXPECT(metadata.ordinalType() == QStringLiteral("number"));
    QuestionFeedback feedback(nullptr);
    feedback.setnumberOfRetries(2);
    EXPECT(feedback.property("numberOfRetries").toInt() == 2);
    return true;
}

bool asksPolls()
{
    const auto question = pollQuestion(PollType::TRUE_FALSE, OrdinalType::TRUE_FALSE, 2);
    const auto *yesNo = qobject_cast<QuestionYesNo *>(question.get());
    EXPECT(yesNo && yesNo->trueFalse && yesNo->activityOptions().size() == 2);
    EXPECT(PollType::POLL_TYPE_STR().size() == PollType::POLL_TYPE_ID().size());
    EXPECT(PollType::POLL_TYPE_STR().contains(PollType::MATH_FORMULA));
    EXPECT(OrdinalType::ORDINAL_TYPE_STR().contains(OrdinalType::GENERIC));
    return true;
}

} // namespace

bool usesContent()
{
    return derives() && hasAllKinds() && hasRecords() && asksPolls();
}

#include "content.moc"
