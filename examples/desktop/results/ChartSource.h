#pragma once

#include "results/ResultPages.h"

#include <QtCore/QAbstractItemModel>
#include <QtCore/QHash>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

namespace Desktop
{

// One line of a chart, as it is drawn.
struct ChartRow {
    QString label;
    QString names; // of those who gave a free answer; empty for choices, and while names are hidden
    QString figures; // "12 · 40%"
    double share = 0;
    bool isFree = false;
    int colour = 0; // which of the theme's

    bool operator==(const ChartRow &other) const;
};

// What stands above the lines.
struct ChartHead {
    QString question;
    QString figures; // "12 of 30 have answered.   Average 3.4"
    QString notice;  // in place of the lines

    bool operator==(const ChartHead &other) const;
};

// What there is to show of a class's answers, and what the teacher wishes to be hidden. The diagram, the
// table, the pictures and the words for screen readers all ask it, so that none of them tells what another
// hides. Owns none of the models.
class ChartSource : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(ChartSource)

public:
    ChartSource(QAbstractItemModel *results, QAbstractItemModel *learners,
                QObject *parent = nullptr);

    QAbstractItemModel *results() const { return m_results; }
    QAbstractItemModel *learners() const { return m_learners; }

    int pageCount() const { return m_pages.count(); }
    // Which question is shown; 0 without any.
    int currentPage() const;
    void setCurrentPage(int page);
    // What a list of the questions calls it.
    QString titleOf(int page) const;
    QString currentQuestionId() const { return m_pages.id(currentPage()); }

    // What is being asked, for questions that have no rows before somebody answers; and whether answers are
    // still being taken.
    void setAsked(const QString &text);
    void setRunning(bool isRunning);
    // Whether nothing but their number is told of the answers while they are being taken.
    void setHiddenUntilClosed(bool isHidden);
    void setNamesHidden(bool areHidden);
    bool isHiddenUntilClosed() const { return m_isHiddenUntilClosed; }
    bool areNamesHidden() const { return m_areNamesHidden; }
    // Whether answers are hidden now.
    bool areAnswersHidden() const { return m_isHiddenUntilClosed && m_isRunning; }

    ChartHead head() const;
    int rowCount() const { return shownRows().size(); }
    // At most `most` lines from this one on.
    QVector<ChartRow> rows(int first, int most) const;
    // How many characters a line's label has, as far as they are shown.
    int lengthOf(int row) const;
    // The whole text of a line; names as well, if they are shown.
    QString wholeText(int row) const;
    // All of it in sentences.
    QString inWords() const;

Q_SIGNALS:
    void changed();

private:
    template<typename Value> void change(Value *value, const Value &fresh);
    void forget();
    const ResultPage &page() const;
    const QVector<int> &shownRows() const { return page().rows; }
    int learnerCount() const;
    QString namesFor(const ResultRow &row) const;
    const QHash<QString, QStringList> &namesByAnswer() const;

    QAbstractItemModel *const m_results;
    QAbstractItemModel *const m_learners;
    ResultPages m_pages;
    int m_page = 0;
    QString m_asked;
    bool m_isRunning = false;
    bool m_isHiddenUntilClosed = false;
    bool m_areNamesHidden = false;

    // What has been worked out since the last change.
    mutable bool m_isPageKnown = false;
    mutable ResultPage m_pageShown;
    mutable int m_learnerCount = -1;
    mutable bool m_areNamesKnown = false;
    mutable QHash<QString, QStringList> m_namesByAnswer;
};

} // namespace Desktop
