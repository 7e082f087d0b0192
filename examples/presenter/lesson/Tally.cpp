#include "lesson/Tally.h"

#include <QtCore/QMap>
#include <QtCore/QStringList>

#include <algorithm>
#include <cmath>
#include <optional>

namespace Host
{

namespace
{

QString labelOf(const Choice &choice)
{
    if (choice.text.isEmpty() || choice.text == choice.id)
        return choice.id;
    return choice.id + QLatin1Char(' ') + choice.text;
}

std::optional<double> finiteNumber(const QString &text)
{
    bool isNumber = false;
    const double value =
        text.toDouble(&isNumber); // which also reads "nan", which has no place in an order
    if (!isNumber || !std::isfinite(value))
        return std::nullopt;
    return value;
}

// The most frequent first; numbers that are as frequent in the order of their values.
bool comesBefore(const TallyRow &a, const TallyRow &b)
{
    if (a.count != b.count)
        return a.count > b.count;
    const std::optional<double> valueOfA = finiteNumber(a.label);
    const std::optional<double> valueOfB = finiteNumber(b.label);
    if (valueOfA.has_value() != valueOfB.has_value())
        return valueOfA.has_value();
    return valueOfA ? *valueOfA < *valueOfB : a.label < b.label;
}

} // namespace

Tally::Tally(QVector<Choice> choices, Reading reading)
    : m_choices(std::move(choices)), m_reading(reading)
{
}

void Tally::answer(const QString &deviceId, const QString &answer)
{
    m_answers.insert(deviceId, answer);
}

QVector<TallyRow> Tally::rows() const
{
    QVector<TallyRow> rows;
    QHash<QString, int> rowOfChoice;
    for (const Choice &choice : m_choices) {
        // Options may share an id, as the third and later ones of a yes/no poll do: one row for all.
        if (rowOfChoice.contains(choice.id))
            continue;
        rowOfChoice.insert(choice.id, rows.size());
        rows.append({labelOf(choice), 0});
    }

    QMap<QString, int> others;
    for (const QString &answer : m_answers) {
        const QStringList choices = choicesNamedIn(answer);
        for (const QString &named : choices) {
            const auto row = rowOfChoice.constFind(named);
            if (row != rowOfChoice.constEnd())
                ++rows[row.value()].count;
            else
                ++others[named];
        }
    }
    const int firstOther = rows.size();
    for (auto other = others.constBegin(); other != others.constEnd(); ++other)
        rows.append(
            {other.key().isEmpty() ? QStringLiteral("(empty)") : other.key(), other.value()});
    std::stable_sort(rows.begin() + firstOther, rows.end(), comesBefore);
    return rows;
}

QStringList Tally::choicesNamedIn(const QString &answer) const
{
    const QString whole = answer.trimmed();
    if (m_reading == Whole || isChoice(whole))
        return {whole};
    QStringList named;
    if (whole.contains(QLatin1Char(','))) {
        const QStringList parts = whole.split(QLatin1Char(','));
        for (const QString &part : parts)
            named.append(part.trimmed());
    } else {
        // Devices also write the ids of the chosen options one after another, a character each.
        for (const QChar id : whole)
            named.append(QString(id));
        const bool areChoices = std::all_of(named.constBegin(), named.constEnd(),
                                            [this](const QString &id) { return isChoice(id); });
        if (named.isEmpty() || !areChoices)
            return {whole};
    }
    named.removeDuplicates(); // a choice ticked twice is one vote
    return named;
}

bool Tally::isChoice(const QString &id) const
{
    return std::any_of(m_choices.constBegin(), m_choices.constEnd(),
                       [&id](const Choice &choice) { return choice.id == id; });
}

} // namespace Host
