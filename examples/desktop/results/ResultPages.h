#pragma once

#include "host/LiveClass.h"

#include <QtCore/QAbstractItemModel>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QVector>

#include <optional>

namespace Desktop
{

// A row of `LiveClass::results()`.
struct ResultRow {
    QString choice; // its id, or the free answer
    QString label;
    int count = 0;
    double share = 0;
    bool isFree = false; // an answer in the learner's own words
};

// One question of `LiveClass::results()`.
struct ResultPage {
    QString id;
    QString text; // empty for polls of the fixed kinds
    int respondents = 0;
    std::optional<double> average;
    QVector<int> rows; // of the model, in the order in which they are shown
};

// Reads the rows of `LiveClass::results()` as pages, one a question. Choices stand in their order; the free
// answers behind them with the most frequent first, and those as frequent as they came. Does not own the
// model; tells at once of what changes, and works it out only when it is asked for.
class ResultPages : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(ResultPages)

public:
    explicit ResultPages(QAbstractItemModel *results, QObject *parent = nullptr);

    int count() const;
    ResultPage page(int index) const;
    // The id and the text of a question, without looking at its answers.
    QString id(int index) const { return told(index, Tarvo::LiveClass::QuestionRole); }
    QString text(int index) const { return told(index, Tarvo::LiveClass::QuestionTextRole); }
    ResultRow row(int modelRow) const;

Q_SIGNALS:
    // Other rows, other questions or other figures.
    void changed();

private:
    struct Question {
        int firstRow = 0;
        int rowCount = 0;
    };

    QVariant value(int row, int role) const;
    QString told(int index, int role) const;
    bool looksFree(int row) const;
    void takeIn(int first, int last);
    void drop(int first, int last);
    void takeInAnew();
    const QVector<Question> &questions() const;
    QVector<int> shownOrder(const Question &question) const;

    QAbstractItemModel *const m_results;
    QVector<bool> m_isFree; // by row
    mutable QVector<Question> m_questions;
    mutable bool m_areQuestionsKnown = false;
};

} // namespace Desktop
