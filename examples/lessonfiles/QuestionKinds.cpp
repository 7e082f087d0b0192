#include "lessonfiles/QuestionKinds.h"

#include <QtCore/QMap>

#include <algorithm>

namespace Host
{

namespace
{

using Tarvo::OrdinalType;
using Tarvo::PollType;

constexpr int LETTERS = 26;
constexpr int MAX_OPTIONS = 100; // more than devices can show

// The usual labels and count; the fewest and most options; whether devices take a question with words,
// and whether it has options of its own. A yes/no question has three answers, the third is "don't
// know". Of a creative poll devices get the count and make of it what they like.
struct KindRow {
    PollType::POLL_TYPE kind;
    OrdinalType::ORDINAL_TYPE labels;
    int count;
    int least;
    int most;
    bool isAskable;
    bool knowsItsOptions;
};

// clang-format off
constexpr KindRow KIND_ROWS[] = {
    {PollType::TRUE_FALSE,   OrdinalType::TRUE_FALSE,   2, 2, 3,           true,  true},
    {PollType::YES_NO_OTHER, OrdinalType::YES_NO_OTHER, 3, 2, 3,           true,  true},
    {PollType::MULTIPLE,     OrdinalType::ALPHA_UPPER,  4, 1, MAX_OPTIONS, true,  false},
    {PollType::SCALE,        OrdinalType::NUMBER,       5, 1, MAX_OPTIONS, true,  false},
    {PollType::SORT,         OrdinalType::ALPHA_UPPER,  4, 1, MAX_OPTIONS, true,  false},
    {PollType::TEXT,         OrdinalType::GENERIC,      0, 0, 0,           true,  false},
    {PollType::WORD_SEED,    OrdinalType::GENERIC,      0, 0, 0,           false, false},
    {PollType::NUMBER,       OrdinalType::GENERIC,      0, 0, 0,           true,  false},
    {PollType::CREATIVE,     OrdinalType::GENERIC,      0, 0, MAX_OPTIONS, false, false},
    {PollType::MATH_FORMULA, OrdinalType::GENERIC,      0, 0, 0,           true,  false},
};

// How many options the labels speak of, 0 if of any number, and for how many they last: beyond that
// two options would have the same label, or one that is no letter.
struct LabelRow {
    OrdinalType::ORDINAL_TYPE labels;
    int count;
    int most;
};

constexpr LabelRow LABEL_ROWS[] = {
    {OrdinalType::TRUE_FALSE,    2, 3},
    {OrdinalType::YES_NO,        2, 3},
    {OrdinalType::YES_NO_MAYBE,  3, 3},
    {OrdinalType::YES_NO_UNSURE, 3, 3},
    {OrdinalType::YES_NO_OTHER,  3, 3},
    {OrdinalType::ALPHA_UPPER,   0, LETTERS},
    {OrdinalType::ALPHA_LOWER,   0, LETTERS},
    {OrdinalType::NUMBER,        0, MAX_OPTIONS},
    {OrdinalType::AGREEMENT,     0, MAX_OPTIONS},
    {OrdinalType::CONFIDENCE,    0, MAX_OPTIONS},
    {OrdinalType::GENERIC,       0, MAX_OPTIONS},
};
// clang-format on

const KindRow &rowOf(PollType::POLL_TYPE kind)
{
    return *std::find_if(std::begin(KIND_ROWS), std::end(KIND_ROWS),
                         [kind](const KindRow &row) { return row.kind == kind; });
}

const LabelRow &rowOf(OrdinalType::ORDINAL_TYPE labels)
{
    return *std::find_if(std::begin(LABEL_ROWS), std::end(LABEL_ROWS),
                         [labels](const LabelRow &row) { return row.labels == labels; });
}

QString hyphenated(QString name)
{
    return name.replace(QLatin1Char(' '), QLatin1Char('-'));
}

template<typename Key>
std::optional<Key> valueNamed(const QMap<Key, QString> &names, const QString &word)
{
    for (auto name = names.constBegin(); name != names.constEnd(); ++name) {
        if (word == name.value() || word == hyphenated(name.value()))
            return name.key();
    }
    return std::nullopt;
}

QStringList eachHyphenated(QStringList names)
{
    std::transform(names.begin(), names.end(), names.begin(), &hyphenated);
    return names;
}

} // namespace

std::optional<PollType::POLL_TYPE> kindNamed(const QString &word)
{
    return valueNamed(PollType::POLL_TYPE_STR(), word);
}

std::optional<OrdinalType::ORDINAL_TYPE> labelsNamed(const QString &word)
{
    return valueNamed(OrdinalType::ORDINAL_TYPE_STR(), word);
}

QString wordFor(PollType::POLL_TYPE kind)
{
    return hyphenated(PollType::POLL_TYPE_STR().value(kind));
}

QString wordFor(OrdinalType::ORDINAL_TYPE labels)
{
    return hyphenated(OrdinalType::ORDINAL_TYPE_STR().value(labels));
}

QStringList kindWords()
{
    return eachHyphenated(PollType::POLL_TYPE_STR().values());
}

QStringList askableKindWords()
{
    QStringList words;
    for (const KindRow &row : KIND_ROWS) {
        if (row.isAskable)
            words.append(wordFor(row.kind));
    }
    return words;
}

QStringList labelWords()
{
    return eachHyphenated(OrdinalType::ORDINAL_TYPE_STR().values());
}

OrdinalType::ORDINAL_TYPE usualLabels(PollType::POLL_TYPE kind)
{
    return rowOf(kind).labels;
}

int usualCount(PollType::POLL_TYPE kind, std::optional<OrdinalType::ORDINAL_TYPE> labels)
{
    const int ofKind = rowOf(kind).count;
    const int ofLabels = labels ? rowOf(*labels).count : 0;
    return ofKind > 0 && ofLabels > 0 ? ofLabels : ofKind;
}

CountRange pollRange(PollType::POLL_TYPE kind, OrdinalType::ORDINAL_TYPE labels)
{
    return {rowOf(kind).least, qMin(rowOf(kind).most, rowOf(labels).most)};
}

CountRange askRange(PollType::POLL_TYPE kind)
{
    return pollRange(kind, OrdinalType::ALPHA_UPPER);
}

bool isAskable(PollType::POLL_TYPE kind)
{
    return rowOf(kind).isAskable;
}

bool knowsItsOptions(PollType::POLL_TYPE kind)
{
    return rowOf(kind).knowsItsOptions;
}

} // namespace Host
