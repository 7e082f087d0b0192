#include "results/ChartSource.h"

#include "results/ResultSentences.h"

#include "host/LiveClass.h"
#include "texts/ShownText.h"

#include <QtCore/QLocale>

#include <algorithm>
#include <utility>

namespace Desktop
{

using Tarvo::LiveClass;

namespace
{

// What can be drawn of a text at most; more is not even looked at.
constexpr int MAX_QUESTION = 400;
constexpr int MAX_LABEL = 300;
constexpr int MAX_TITLE = 60;
constexpr int MAX_NAME = 24;
constexpr int MAX_NAMES = 4;
constexpr int MAX_NAMES_IN_WHOLE = 40;
constexpr int MAX_ROWS_IN_WORDS = 20;
constexpr int MAX_LABEL_IN_WORDS = 100;

QString joined(const QStringList &names, int most)
{
    QStringList shown;
    for (const QString &name : names.mid(0, most))
        shown.append(quotedText(name, MAX_NAME));
    const int further = names.size() - shown.size();
    const QString list = shown.join(QStringLiteral(", "));
    return further > 0 ? ChartSource::tr("%1 and %2 more").arg(list, QLocale().toString(further))
                       : list;
}

QString figuresOf(const ResultRow &row)
{
    const QString count = QLocale().toString(row.count);
    if (row.isFree)
        return row.count > 1 ? ChartSource::tr("%1 times").arg(count) : QString();
    return ChartSource::tr("%1 · %2").arg(count, ResultSentences::percentage(row.share));
}

} // namespace

bool ChartRow::operator==(const ChartRow &other) const
{
    return label == other.label && names == other.names && figures == other.figures
        && qFuzzyCompare(1 + share, 1 + other.share) && isFree == other.isFree
        && colour == other.colour;
}

bool ChartHead::operator==(const ChartHead &other) const
{
    return question == other.question && figures == other.figures && notice == other.notice;
}

ChartSource::ChartSource(QAbstractItemModel *results, QAbstractItemModel *learners, QObject *parent)
    : QObject(parent), m_results(results), m_learners(learners), m_pages(results)
{
    connect(&m_pages, &ResultPages::changed, this, &ChartSource::forget);
    for (const auto signal : {&QAbstractItemModel::rowsInserted, &QAbstractItemModel::rowsRemoved})
        connect(learners, signal, this, &ChartSource::forget);
    connect(learners, &QAbstractItemModel::dataChanged, this, &ChartSource::forget);
    connect(learners, &QAbstractItemModel::modelReset, this, &ChartSource::forget);
}

// Questions for free answers come and go with them.
int ChartSource::currentPage() const
{
    return qBound(0, m_page, qMax(0, pageCount() - 1));
}

void ChartSource::setCurrentPage(int page)
{
    change(&m_page, qBound(0, page, qMax(0, pageCount() - 1)));
}

QString ChartSource::titleOf(int page) const
{
    const QString text = shownText(m_pages.text(page), MAX_TITLE);
    const QString number = QLocale().toString(page + 1);
    return text.isEmpty() ? tr("Question %1").arg(number) : tr("%1. %2").arg(number, text);
}

void ChartSource::setAsked(const QString &text)
{
    change(&m_asked, text);
}

void ChartSource::setRunning(bool isRunning)
{
    change(&m_isRunning, isRunning);
}

void ChartSource::setHiddenUntilClosed(bool isHidden)
{
    change(&m_isHiddenUntilClosed, isHidden);
}

void ChartSource::setNamesHidden(bool areHidden)
{
    change(&m_areNamesHidden, areHidden);
}

template<typename Value> void ChartSource::change(Value *value, const Value &fresh)
{
    if (*value == fresh)
        return;
    *value = fresh;
    forget();
}

void ChartSource::forget()
{
    m_isPageKnown = false;
    m_areNamesKnown = false;
    m_learnerCount = -1;
    if (m_results->rowCount() == 0)
        m_page = 0; // the next activity begins
    Q_EMIT changed();
}

ChartHead ChartSource::head() const
{
    ChartHead head;
    const bool isEmpty = pageCount() == 0;
    head.question =
        shownText(isEmpty || page().text.isEmpty() ? m_asked : page().text, MAX_QUESTION);
    if (isEmpty && !m_isRunning && m_asked.isEmpty()) {
        head.notice = tr("No question has been asked yet.");
        return head;
    }
    QStringList figures = {ResultSentences::answered(page().respondents, learnerCount())};
    if (areAnswersHidden())
        head.notice = tr("The results come when the poll is closed.");
    else if (page().average)
        figures.append(ResultSentences::average(page()));
    figures.append(m_areNamesHidden ? tr("Names are hidden") : tr("Names are shown"));
    head.figures = figures.join(QStringLiteral("   "));
    return head;
}

QVector<ChartRow> ChartSource::rows(int first, int most) const
{
    QVector<ChartRow> shown;
    const int end = qMin(int(shownRows().size()), first + most);
    for (int index = first; index < end; ++index) {
        const ResultRow row = m_pages.row(shownRows().at(index));
        shown.append({shownText(row.label, MAX_LABEL),
                      joined(namesByAnswer().value(row.choice), MAX_NAMES), figuresOf(row),
                      row.share, row.isFree, index});
        if (!row.isFree)
            shown.last().names.clear();
    }
    return shown;
}

int ChartSource::lengthOf(int row) const
{
    return qMin(int(m_pages.row(shownRows().at(row)).label.size()), MAX_LABEL);
}

QString ChartSource::wholeText(int row) const
{
    if (row < 0 || row >= rowCount())
        return QString();
    const ResultRow result = m_pages.row(shownRows().at(row));
    const QStringList names = result.isFree ? namesByAnswer().value(result.choice) : QStringList();
    return names.isEmpty() ? result.label
                           : tr("%1 (%2)").arg(quotedText(result.label, result.label.size()),
                                               joined(names, MAX_NAMES_IN_WHOLE));
}

QString ChartSource::inWords() const
{
    const ChartHead above = head();
    QStringList sentences;
    for (const QString &part : {above.question, above.figures, above.notice}) {
        if (!part.isEmpty())
            sentences.append(quotedText(part.simplified(), part.size()));
    }
    const QVector<int> shown = shownRows().mid(0, MAX_ROWS_IN_WORDS);
    for (const int index : shown) {
        ResultRow row = m_pages.row(index);
        row.label = shownText(row.label, MAX_LABEL_IN_WORDS);
        sentences.append(ResultSentences::row(row, page().respondents));
    }
    if (rowCount() > shown.size())
        sentences.append(tr("And more: %1").arg(QLocale().toString(rowCount() - shown.size())));
    return sentences.join(QStringLiteral(". "))
        .replace(QStringLiteral(".. "), QStringLiteral(". "));
}

const ResultPage &ChartSource::page() const
{
    if (!std::exchange(m_isPageKnown, true)) {
        m_pageShown = m_pages.page(currentPage());
        if (areAnswersHidden())
            m_pageShown.rows.clear();
    }
    return m_pageShown;
}

// Who is there, and who was there to answer.
int ChartSource::learnerCount() const
{
    if (m_learnerCount >= 0)
        return m_learnerCount;
    int count = 0;
    for (int row = 0; row < m_learners->rowCount(); ++row) {
        const QModelIndex index = m_learners->index(row, 0);
        const bool counts = index.data(LiveClass::PresentRole).toBool()
            || index.data(LiveClass::AnsweredRole).toBool();
        count += counts ? 1 : 0;
    }
    m_learnerCount = qMax(count, page().respondents);
    return m_learnerCount;
}

// A learner's row tells the last answer only, and not to which question: with several of them, the
// table by learner is the place for names.
const QHash<QString, QStringList> &ChartSource::namesByAnswer() const
{
    if (std::exchange(m_areNamesKnown, true))
        return m_namesByAnswer;
    m_namesByAnswer.clear();
    if (m_areNamesHidden || pageCount() != 1)
        return m_namesByAnswer;
    for (int row = 0; row < m_learners->rowCount(); ++row) {
        const QModelIndex index = m_learners->index(row, 0);
        if (index.data(LiveClass::AnsweredRole).toBool())
            m_namesByAnswer[index.data(LiveClass::LastAnswerRole).toString().trimmed()].append(
                index.data(LiveClass::NameRole).toString());
    }
    return m_namesByAnswer;
}

} // namespace Desktop
