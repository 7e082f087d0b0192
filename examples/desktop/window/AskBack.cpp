#include "window/AskBack.h"

#include <QtWidgets/QMessageBox>
#include <QtWidgets/QPushButton>

#include <utility>

namespace Desktop
{

void askBack(QWidget *over, const Question &question, std::function<void()> yes)
{
    auto *const box = new QMessageBox(over->window());
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(Qt::WindowModal);
    box->setIcon(QMessageBox::Question);
    box->setWindowTitle(question.text);
    box->setTextFormat(Qt::PlainText); // names are in it
    box->setText(question.text);
    box->setInformativeText(question.details);
    const QPushButton *const button = box->addButton(question.yes, QMessageBox::AcceptRole);
    box->setDefaultButton(box->addButton(QMessageBox::Cancel));
    QObject::connect(button, &QPushButton::clicked, over, std::move(yes));
    box->show();
}

} // namespace Desktop
