// The JSON of every record, compared whole with the texts in golden/, which were written
// by hand and not printed by the library.

#include "model/ActivityOption.h"
#include "model/AssessmentOptions.h"
#include "model/Card.h"
#include "model/JsonSerializer.h"
#include "model/QuestionCreative.h"
#include "model/QuestionMathFormula.h"
#include "model/QuestionMultiChoice.h"
#include "model/QuestionNumeric.h"
#include "model/QuestionScale.h"
#include "model/QuestionSort.h"
#include "model/QuestionText.h"
#include "model/QuestionWordSeed.h"
#include "model/QuestionYesNo.h"
#include "support/LogCapture.h"
#include "support/Text.h"

#include <QtCore/QFile>
#include <QtTest/QtTest>

#include <memory>

using namespace Tarvo;

namespace
{

constexpr const char *GOLDEN_ID = "Golden01"; // in place of the random one

template<typename T> QObject *record()
{
    return new T(nullptr);
}

template<typename T> QObject *question()
{
    auto *made = new T(nullptr);
    made->setID(GOLDEN_ID);
    return made;
}

QObject *trueFalseQuestion()
{
    auto *made = static_cast<QuestionYesNo *>(question<QuestionYesNo>());
    made->trueFalse = true;
    return made;
}

QObject *filledQuestion()
{
    auto *made = static_cast<QuestionMultiChoice *>(question<QuestionMultiChoice>());
    made->setquestionSetMode("Assessment");
    made->setquestionNumber(3);
    made->setactivityType({{"id", "8755bfc923cb492094df5c842a30da5f"}, {"name", "multiple"}});
    made->setinstructions("Choose two.");
    made->sethint(u"Both are études."_s);
    made->sethasNext(true);
    made->setnumberOfCorrectOptions(2);
    made->addActivityOption("A", "Opus 10", 0);
    made->addActivityOption("B", "Opus 11", 1);
    made->addActivityOption("C", "Opus 25", 2);
    made->setOrdinals(OrdinalType::ALPHA_UPPER);
    made->setPriorAnswer("AC");
    auto *card = new Card(made);
    card->setBackgroundImage("url('https://cards.example/7.png')");
    made->setcard(card);
    return made;
}

} // namespace

class tst_RecordJson : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isTheGoldenText_data();
    void isTheGoldenText();
};

void tst_RecordJson::isTheGoldenText_data()
{
    using Maker = QObject *(*)();
    const QVector<QPair<const char *, Maker>> golden = {
        {"assessment-options", &record<AssessmentOptions>},
        {"feedback", &record<QuestionFeedback>},
        {"card", &record<Card>},
        {"metadata", &record<QuestionMetadata>},
        {"activity-option", &record<ActivityOption>},
        {"question-base", &question<QuestionBase>},
        {"question-base-with-options", &question<QuestionBaseWithOptions>},
        {"question-number", &question<QuestionNumeric>},
        {"question-text", &question<QuestionText>},
        {"question-math-formula", &question<QuestionMathFormula>},
        {"question-word-seed", &question<QuestionWordSeed>},
        {"question-multiple", &question<QuestionMultiChoice>},
        {"question-yes-no-other", &question<QuestionYesNo>},
        {"question-true-false", &trueFalseQuestion},
        {"question-sort", &question<QuestionSort>},
        {"question-scale", &question<QuestionScale>},
        {"question-creative", &question<QuestionCreative>},
        {"question-multiple-filled", &filledQuestion},
    };
    QTest::addColumn<QObject *>("object");
    for (const auto &[name, make] : golden) {
        QObject *object = make();
        object->setParent(this);
        QTest::newRow(name) << object;
    }
}

void tst_RecordJson::isTheGoldenText()
{
    QFETCH(QObject *, object);
    QFile file(QFINDTESTDATA(u"golden/%1.json"_s.arg(QTest::currentDataTag())));
    QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(file.fileName()));
    const QString expected = QString::fromUtf8(file.readAll());

    const LogCapture log;
    const QString actual = JsonSerializer::serializeToJson(object);

    const QStringList expectedLines = expected.split('\n');
    const QStringList actualLines = actual.split('\n');
    for (int i = 0; i < qMin(expectedLines.size(), actualLines.size()); ++i)
        QCOMPARE(actualLines[i], expectedLines[i]);
    QCOMPARE(actual, expected);

    // A question's objects are mapped in key order, and none meets the end of the budget.
    QStringList mapped;
    for (const char *name : {"card", "feedBack", "metadata"}) {
        if (object->property(name).userType() == QMetaType::QObjectStar)
            mapped << u"[JsonSerializer] Mapping sub-property: %1"_s.arg(name);
    }
    QCOMPARE(log.messages(), mapped);
}

QTEST_GUILESS_MAIN(tst_RecordJson)
#include "tst_recordjson.moc"
