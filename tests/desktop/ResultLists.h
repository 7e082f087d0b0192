#pragma once

#include "host/LiveClass.h"

#include <QtGui/QStandardItemModel>

#include <utility>

// Lists such as a class's own, filled by hand.

// A row of `LiveClass::results()`.
struct ListedResult {
    QString question;
    QString text;
    QString choice;
    QString label;
    int count = 0;
    int respondents = 0;
    QVariant average = {};
};

inline void setResult(QStandardItem *item, const ListedResult &result)
{
    using Tarvo::LiveClass;
    const double share =
        result.respondents > 0 ? static_cast<double>(result.count) / result.respondents : 0;
    const std::pair<int, QVariant> values[] = {
        {LiveClass::QuestionRole, result.question},
        {LiveClass::QuestionTextRole, result.text},
        {LiveClass::ChoiceRole, result.choice},
        {LiveClass::LabelRole, result.label},
        {LiveClass::CountRole, result.count},
        {LiveClass::ShareRole, share},
        {LiveClass::AverageRole, result.average},
        {LiveClass::RespondentsRole, result.respondents},
    };
    for (const auto &[role, value] : values)
        item->setData(value, role);
}

inline void addResult(QStandardItemModel *list, const ListedResult &result)
{
    auto *const item = new QStandardItem;
    setResult(item, result);
    list->appendRow(item);
}

// A row of `LiveClass::learners()`; who has answered nothing has not answered.
inline void addLearner(QStandardItemModel *list, const QString &name, const QString &answer = {},
                       bool isPresent = true)
{
    using Tarvo::LiveClass;
    auto *const item = new QStandardItem(name);
    item->setData(name, LiveClass::NameRole);
    item->setData(isPresent, LiveClass::PresentRole);
    item->setData(!answer.isNull(), LiveClass::AnsweredRole);
    item->setData(answer, LiveClass::LastAnswerRole);
    list->appendRow(item);
}

inline void addLearners(QStandardItemModel *list, int count)
{
    for (int number = 1; number <= count; ++number)
        addLearner(list, QStringLiteral("Learner %1").arg(number));
}
