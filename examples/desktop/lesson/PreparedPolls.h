#pragma once

#include "lesson/LessonPanel.h"
#include "lesson/PreparedPoll.h"

#include <QtCore/QTimer>

class QHBoxLayout;
class QLabel;
class QListWidget;
class QPushButton;

namespace Desktop
{

class PollEditor;

// The questions and polls that a teacher has prepared, in the order in which they are to be asked. Enter
// asks one, ends what is running before, and goes on to the next. They are kept in a file that follows
// every change; one that is damaged is never written.
class PreparedPolls : public LessonPanel
{
    Q_OBJECT

public:
    explicit PreparedPolls(Tarvo::LiveClass &live, QWidget *parent = nullptr);
    ~PreparedPolls() override;

    // In the user's folder for this program's data.
    static QString defaultFile();

    const QVector<PreparedPoll> &polls() const { return m_polls; }
    // Where changes are kept; empty after a file that could not be read.
    QString file() const { return m_file; }

public Q_SLOTS:
    void chooseFile();
    void chooseNewFile();
    void open(const QString &fileName);
    void saveAs(const QString &fileName);

    void ask();
    void add();
    void duplicate();
    void remove();
    void moveUp();
    void moveDown();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void refresh() override;
    void addButtons(QHBoxLayout *edit, QHBoxLayout *order);
    void addFileButtons(QHBoxLayout *files);
    void addKeys();
    void showAll(int current);
    void showRow(int row);
    void rowChosen(int row);
    void edited();
    void insert(int row, const PreparedPoll &poll);
    void move(int by);
    void askNow(const PreparedPoll &poll, int row);
    void hasEnded(int row, bool well);
    void changed();
    void save();
    QString whyNotAsk() const;

    QVector<PreparedPoll> m_polls;
    QString m_file;
    QString m_damaged; // the file that could not be read
    QListWidget *m_list;
    PollEditor *m_editor;
    QPushButton *m_ask;
    QPushButton *m_add = nullptr;
    QPushButton *m_duplicate = nullptr;
    QPushButton *m_remove = nullptr;
    QPushButton *m_up = nullptr;
    QPushButton *m_down = nullptr;
    QLabel *m_news;
    QTimer m_save;
    bool m_isAsking = false;
};

} // namespace Desktop
