#pragma once

#include "lesson/PreparedPoll.h"

#include <QtWidgets/QWidget>

class QComboBox;
class QPlainTextEdit;
class QSpinBox;

namespace Desktop
{

// The fields of one prepared poll. Knows which of them its kind has.
class PollEditor : public QWidget
{
    Q_OBJECT

public:
    explicit PollEditor(QWidget *parent = nullptr);

    PreparedPoll poll() const;
    void setPoll(const PreparedPoll &poll);
    void focusText();

    // What a kind of poll is called for people.
    static QString nameOf(const PreparedPoll &poll);

Q_SIGNALS:
    // Somebody has typed or chosen something.
    void edited();

private:
    struct Kind;
    static const QVector<Kind> &kinds();
    static int rowOf(const PreparedPoll &poll);

    void addFields();
    void kindChosen();
    void showFields();

    QPlainTextEdit *m_text;
    QComboBox *m_kind;
    QSpinBox *m_count;
    QPlainTextEdit *m_options;
    bool m_isSetting = false;
};

} // namespace Desktop
