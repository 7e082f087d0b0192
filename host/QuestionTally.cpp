#include "host/QuestionTally.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

namespace Tarvo
{

namespace
{

QString labelOf(const Choice &choice)
{
    if (choice.id.isEmpty())
        return choice.text;
    if (choice.text.isEmpty() || choice.text == choice.id)
        return choice.id;
    return choice.id + QLatin1Char(' ') + choice.text;
}

QuestionTally::RowPointer newRow(const QString &choice, const QString &label, bool isFree)
{
    const auto row = std::make_shared<QuestionTally::Row>();
    row->choice = choice;
    row->label = label;
    row->isFree = isFree;
    return row;
}

QuestionTally::RowPointer newFreeRow(const QString &answer)
{
    return newRow(answer, answer.isEmpty() ? QStringLiteral("(empty)") : answer, true);
}

std::optional<double> finiteNumber(const QString &text)
{
    bool isNumber = false;
    const double value = text.toDouble(&isNumber); // which also reads "inf" and "nan"
    if (isNumber && std::isfinite(value))
        return value;
    return std::nullopt;
}

// The most choices that one answer names.
constexpr int MAX_TICKS = 100;

QStringList partsOf(const QString &answer)
{
    QStringList parts;
    const QStringList split = answer.split(QLatin1Char(','));
    for (const QString &part : split)
        parts.append(part.trimmed());
    return parts;
}

QStringList charactersOf(const QString &answer)
{
    QStringList characters;
    for (const QChar character : answer)
        characters.append(QString(character));
    return characters;
}

} // namespace

QuestionTally::QuestionTally(const CountedQuestion &question)
    : m_id(question.id), m_text(question.text), m_kind(question.kind),
      m_rest(newRow(QString(), QStringLiteral("(other answers)"), false))
{
    if (m_kind == PollType::SORT)
        return; // what is counted is orders
    for (const Choice &choice : question.choices)
        addChoice(choice);
    m_choiceCount = rowCount();
}

void QuestionTally::addChoice(const Choice &choice)
{
    // Choices may share an id, as the third and later ones of a yes/no poll do: one row for all.
    if (m_rowOf.contains(choice.id))
        return;
    m_rows.push_back(newRow(choice.id, labelOf(choice), false));
    m_rowOf.insert(choice.id, m_rows.back());
    if (const std::optional<double> value = finiteNumber(choice.text))
        m_valueOf.insert(choice.id, *value);
}

void QuestionTally::answer(const QString &deviceId, const QString &answer, int responseTimeMs)
{
    Answer &given = answerOf(deviceId);
    const QVector<RowPointer> former = given.rows;
    withdraw(former);
    given.rows = count(choicesNamedIn(answer));
    dropUnchosen(former);
    given.text = answer;
    given.responseTimeMs = responseTimeMs;
    if (m_kind == PollType::SCALE) {
        given.value = valueOf(answer.trimmed());
        m_isAverageKnown = false;
    }
    m_isChanged = true;
}

QuestionTally::Answer &QuestionTally::answerOf(const QString &deviceId)
{
    const auto known = m_answerOf.constFind(deviceId);
    if (known != m_answerOf.constEnd())
        return m_answers[known.value()];
    m_answerOf.insert(deviceId, m_answers.size());
    m_answers.append(Answer());
    m_answers.last().deviceId = deviceId;
    return m_answers.last();
}

QStringList QuestionTally::choicesNamedIn(const QString &answer) const
{
    const QString whole = answer.trimmed();
    // Nobody ticks so many: each of them would be a row.
    const bool isTooMuch = whole.size() > MAX_TICKS && whole.count(QLatin1Char(',')) >= MAX_TICKS;
    if (m_kind != PollType::MULTIPLE || isTooMuch || isChoice(whole))
        return {whole};
    if (whole.contains(QLatin1Char(','))) {
        QStringList named = partsOf(whole);
        named.removeDuplicates(); // a choice ticked twice is one vote
        return named;
    }
    // Devices also write the ids of the chosen options one after another, a character each.
    QStringList named = charactersOf(whole);
    const bool areChoices = std::all_of(named.constBegin(), named.constEnd(),
                                        [this](const QString &name) { return isChoice(name); });
    if (named.isEmpty() || !areChoices)
        return {whole};
    named.removeDuplicates();
    return named;
}

bool QuestionTally::isChoice(const QString &name) const
{
    const RowPointer row = m_rowOf.value(name);
    return row && !row->isFree;
}

// A scale's choices are numbers themselves, or have numbers beside their letters.
std::optional<double> QuestionTally::valueOf(const QString &answer) const
{
    const std::optional<double> number = finiteNumber(answer);
    const auto beside = m_valueOf.constFind(answer);
    if (number || beside == m_valueOf.constEnd())
        return number;
    return beside.value();
}

QVector<QuestionTally::RowPointer> QuestionTally::count(const QStringList &names)
{
    QVector<RowPointer> rows;
    rows.reserve(names.size());
    bool isInRest = false;
    for (const QString &name : names) {
        const RowPointer row = rowFor(name);
        if (row == m_rest && std::exchange(isInRest, true))
            continue; // whoever names several of the rest is still one person
        if (row->isFree && row->count == 0)
            ++m_freeCount;
        ++row->count;
        rows.append(row);
    }
    return rows;
}

QuestionTally::RowPointer QuestionTally::rowFor(const QString &name)
{
    const bool isPlaceLeft = m_freeCount < MAX_FREE_ROWS;
    const RowPointer known = m_rowOf.value(name);
    if (known && (!known->isFree || known->count > 0 || isPlaceLeft))
        return known;
    // While answers are counted in the rest, others with the same words may be among them.
    if (!isPlaceLeft || m_rest->count > 0)
        return m_rest;
    RowPointer row = newFreeRow(name);
    m_rowOf.insert(name, row);
    m_arrived.push_back(row);
    return row;
}

void QuestionTally::withdraw(const QVector<RowPointer> &rows)
{
    for (const RowPointer &row : rows) {
        --row->count;
        if (row->isFree && row->count == 0)
            --m_freeCount;
    }
}

// Of the rows that somebody has withdrawn from, those whose answer nobody gives now.
void QuestionTally::dropUnchosen(const QVector<RowPointer> &rows)
{
    for (const RowPointer &row : rows) {
        if (row->count > 0)
            continue;
        if (row->isFree)
            m_rowOf.remove(row->choice);
        m_hasGone = true;
    }
}

std::optional<double> QuestionTally::average() const
{
    if (std::exchange(m_isAverageKnown, true))
        return m_average;
    long double sum = 0; // which has room for many of the greatest numbers
    int count = 0;
    for (const Answer &answer : m_answers) {
        sum += answer.value.value_or(0);
        count += answer.value ? 1 : 0;
    }
    m_average.reset();
    if (count > 0)
        m_average = static_cast<double>(sum / count);
    return m_average;
}

bool QuestionTally::takeHasGone()
{
    return std::exchange(m_hasGone, false);
}

RowRange QuestionTally::lastGone(int end) const
{
    const auto isGone = [this](int index) {
        return index >= m_choiceCount && row(index).count == 0;
    };
    while (end > m_choiceCount && !isGone(end - 1))
        --end;
    int first = end;
    while (isGone(first - 1))
        --first;
    return {first, end - first};
}

void QuestionTally::removeRows(RowRange rows)
{
    const auto first = m_rows.begin() + rows.first;
    m_rows.erase(first, first + rows.count);
}

RowRange QuestionTally::arrivals()
{
    const auto isUnchosen = [](const RowPointer &row) { return row->count == 0; };
    m_arrived.erase(std::remove_if(m_arrived.begin(), m_arrived.end(), isUnchosen),
                    m_arrived.end());
    const int count = static_cast<int>(m_arrived.size());
    if (isRestShown())
        return {rowCount() - 1, count};
    return {rowCount(), count + (m_rest->count > 0 ? 1 : 0)};
}

void QuestionTally::insertArrivals(RowRange rows)
{
    if (rows.count > static_cast<int>(m_arrived.size()))
        m_arrived.push_back(m_rest);
    const auto first = m_arrived.begin();
    const auto end = first + rows.count;
    std::for_each(first, end, [](const RowPointer &row) { row->toldCount = row->count; });
    m_rows.insert(m_rows.begin() + rows.first, std::make_move_iterator(first),
                  std::make_move_iterator(end));
    m_arrived.erase(first, end);
}

QVector<RowRange> QuestionTally::takeChanges()
{
    if (!std::exchange(m_isChanged, false))
        return {};
    QVector<RowRange> changes;
    const bool isEveryRow = hasEveryRowChanged();
    for (int index = 0; index < rowCount(); ++index) {
        Row &row = *m_rows[static_cast<std::size_t>(index)];
        if (std::exchange(row.toldCount, row.count) == row.count && !isEveryRow)
            continue;
        if (!changes.isEmpty() && changes.last().first + changes.last().count == index)
            ++changes.last().count;
        else
            changes.append({index, 1});
    }
    return changes;
}

// One more person, or another average, is told by all rows.
bool QuestionTally::hasEveryRowChanged()
{
    const int formerRespondents = std::exchange(m_toldRespondents, respondents());
    const std::optional<double> formerAverage = std::exchange(m_toldAverage, average());
    return formerRespondents != m_toldRespondents || formerAverage != m_toldAverage;
}

} // namespace Tarvo
