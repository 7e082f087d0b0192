#include "lesson/PreparedPolls.h"

#include "lesson/Availability.h"
#include "lesson/PollEditor.h"

#include <QtCore/QFileInfo>
#include <QtCore/QStandardPaths>
#include <QtGui/QKeyEvent>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>

namespace Desktop
{

namespace
{

using Tarvo::LiveClass;

// Typing is written when it rests.
constexpr int SAVE_MS = 500;
constexpr int SHOWN_CHARACTERS = 120;

QString lineFor(const PreparedPoll &poll)
{
    const QString text = poll.text.left(SHOWN_CHARACTERS).simplified();
    const QString kind = PollEditor::nameOf(poll);
    return text.isEmpty() ? kind : QStringLiteral("%1 — %2").arg(text, kind);
}

QPushButton *addButton(QHBoxLayout *into, const QString &text)
{
    auto *button = new QPushButton(text);
    into->addWidget(button);
    return button;
}

} // namespace

PreparedPolls::PreparedPolls(LiveClass &live, QWidget *parent)
    : LessonPanel(live, parent), m_list(new QListWidget(this)), m_editor(new PollEditor(this)),
      m_ask(new QPushButton(tr("Ask"), this)), m_news(addLine(tr("Prepared polls")))
{
    m_list->setAccessibleName(tr("Prepared polls"));
    m_list->installEventFilter(this);
    m_list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff); // a long line ends with dots
    auto *edit = new QHBoxLayout;
    auto *order = new QHBoxLayout;
    auto *files = new QHBoxLayout;
    addButtons(edit, order);
    addFileButtons(files);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_list, 1);
    layout->addWidget(m_ask);
    layout->addLayout(edit);
    layout->addLayout(order);
    layout->addWidget(m_editor);
    layout->addLayout(files);
    layout->addWidget(m_news);
    connect(m_list, &QListWidget::currentRowChanged, this, &PreparedPolls::rowChosen);
    connect(m_list, &QListWidget::itemDoubleClicked, this, &PreparedPolls::ask);
    connect(m_editor, &PollEditor::edited, this, &PreparedPolls::edited);
    connect(m_ask, &QPushButton::clicked, this, &PreparedPolls::ask);
    m_ask->setShortcut(Qt::CTRL | Qt::Key_0); // the polls of the bar have the other digits
    m_save.setSingleShot(true);
    m_save.setInterval(SAVE_MS);
    connect(&m_save, &QTimer::timeout, this, &PreparedPolls::save);
    m_file = defaultFile();
    if (QFileInfo::exists(m_file))
        open(m_file);
    else
        showAll(0);
}

PreparedPolls::~PreparedPolls()
{
    if (m_save.isActive() && !m_file.isEmpty())
        PreparedPollsFile::write(m_file, m_polls);
}

void PreparedPolls::addButtons(QHBoxLayout *edit, QHBoxLayout *order)
{
    m_add = addButton(edit, tr("Add"));
    m_duplicate = addButton(edit, tr("Duplicate"));
    m_remove = addButton(edit, tr("Remove"));
    m_up = addButton(order, tr("Up"));
    m_down = addButton(order, tr("Down"));
    connect(m_add, &QPushButton::clicked, this, &PreparedPolls::add);
    connect(m_duplicate, &QPushButton::clicked, this, &PreparedPolls::duplicate);
    connect(m_remove, &QPushButton::clicked, this, &PreparedPolls::remove);
    connect(m_up, &QPushButton::clicked, this, &PreparedPolls::moveUp);
    connect(m_down, &QPushButton::clicked, this, &PreparedPolls::moveDown);
}

void PreparedPolls::addFileButtons(QHBoxLayout *files)
{
    QPushButton *open = addButton(files, tr("Open…"));
    QPushButton *saveAs = addButton(files, tr("Save as…"));
    open->setToolTip(tr("Choose a file with prepared polls."));
    saveAs->setToolTip(tr("Keep these polls in a file of their own, to share them."));
    connect(open, &QPushButton::clicked, this, &PreparedPolls::chooseFile);
    connect(saveAs, &QPushButton::clicked, this, &PreparedPolls::chooseNewFile);
}

// ---- The list ------------------------------------------------------------------------------------

// Keys of the list itself; elsewhere Enter and Delete are for what is typed.
bool PreparedPolls::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_list || event->type() != QEvent::KeyPress)
        return LessonPanel::eventFilter(watched, event);
    const auto *key = static_cast<QKeyEvent *>(event);
    const bool isEnter = key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter;
    const bool isAlone = !(key->modifiers() & ~Qt::KeypadModifier);
    if (isEnter && isAlone)
        ask();
    else if (key->key() == Qt::Key_Delete && isAlone)
        remove();
    else if (key->key() == Qt::Key_Up && key->modifiers() == Qt::ControlModifier)
        moveUp();
    else if (key->key() == Qt::Key_Down && key->modifiers() == Qt::ControlModifier)
        moveDown();
    else
        return LessonPanel::eventFilter(watched, event);
    return true;
}

void PreparedPolls::showAll(int current)
{
    QStringList lines;
    for (const PreparedPoll &poll : qAsConst(m_polls))
        lines.append(lineFor(poll));
    {
        const QSignalBlocker once(m_list);
        m_list->clear();
        m_list->addItems(lines);
        m_list->setCurrentRow(current);
    }
    rowChosen(m_list->currentRow());
}

void PreparedPolls::rowChosen(int row)
{
    m_editor->setPoll(m_polls.value(row));
    m_editor->setEnabled(row >= 0);
    refresh();
}

void PreparedPolls::edited()
{
    const int row = m_list->currentRow();
    if (row < 0)
        return;
    m_polls[row] = m_editor->poll();
    m_list->item(row)->setText(lineFor(m_polls.at(row)));
    changed();
}

void PreparedPolls::insert(int row, const PreparedPoll &poll)
{
    m_polls.insert(row, poll);
    m_list->insertItem(row, lineFor(poll));
    m_list->setCurrentRow(row);
    changed();
}

void PreparedPolls::add()
{
    if (!m_add->isEnabled())
        return;
    insert(m_list->currentRow() + 1, PreparedPoll());
    m_editor->focusText();
}

void PreparedPolls::duplicate()
{
    if (m_duplicate->isEnabled())
        insert(m_list->currentRow() + 1, m_polls.at(m_list->currentRow()));
}

void PreparedPolls::remove()
{
    const int row = m_list->currentRow();
    if (row < 0)
        return;
    m_polls.removeAt(row);
    {
        const QSignalBlocker once(m_list);
        delete m_list->takeItem(row);
    }
    rowChosen(m_list->currentRow());
    changed();
}

void PreparedPolls::moveUp()
{
    move(-1);
}

void PreparedPolls::moveDown()
{
    move(1);
}

void PreparedPolls::move(int by)
{
    const int row = m_list->currentRow();
    const int to = row + by;
    if (row < 0 || to < 0 || to >= m_polls.size())
        return;
    m_polls.move(row, to);
    {
        const QSignalBlocker once(m_list);
        m_list->insertItem(to, m_list->takeItem(row));
        m_list->setCurrentRow(to);
    }
    changed();
}

// ---- Asking --------------------------------------------------------------------------------------

// What is running ends first, as it would by two steps of the teacher's.
void PreparedPolls::ask()
{
    if (!whyNotAsk().isEmpty())
        return;
    const int row = m_list->currentRow();
    const PreparedPoll poll = m_polls.at(row);
    m_isAsking = true;
    refresh();
    if (m_live.activity() == LiveClass::NoActivity)
        return askNow(poll, row);
    follow(
        m_live.stopActivity(), [this, poll, row] { askNow(poll, row); },
        [this, row] { hasEnded(row, false); });
}

void PreparedPolls::askNow(const PreparedPoll &poll, int row)
{
    follow(
        poll.askIn(m_live),
        [this, poll, row] {
            Q_EMIT asked(poll.isAskedInWords() ? poll.text : PollEditor::nameOf(poll));
            hasEnded(row, true);
        },
        [this, row] { hasEnded(row, false); });
}

// The next poll is at hand, unless the teacher has chosen another meanwhile.
void PreparedPolls::hasEnded(int row, bool well)
{
    m_isAsking = false;
    if (well && m_list->currentRow() == row && row + 1 < m_polls.size())
        m_list->setCurrentRow(row + 1);
    refresh();
}

QString PreparedPolls::whyNotAsk() const
{
    if (m_list->currentRow() < 0)
        return tr("No poll is chosen.");
    if (m_isAsking)
        return tr("The poll before is on its way.");
    return Availability::whyNotTell(m_live);
}

void PreparedPolls::refresh()
{
    const int row = m_list->currentRow();
    const QString none = row < 0 ? tr("No poll is chosen.") : QString();
    const QString full = m_polls.size() >= PreparedPollsFile::MAX_POLLS
        ? tr("There are %1 polls already.").arg(m_polls.size())
        : QString();
    allow(m_ask, whyNotAsk(),
          m_live.activity() == LiveClass::NoActivity
              ? tr("Ask this (Ctrl+0, or Enter in the list).")
              : tr("End what is running and ask this (Ctrl+0, or Enter in the list)."));
    allow(m_add, full, tr("Add a poll behind this one."));
    allow(m_duplicate, none.isEmpty() ? full : none, tr("Add the same once more."));
    allow(m_remove, none, tr("Remove this (Delete in the list)."));
    allow(m_up, row > 0 ? QString() : tr("There is none before it."),
          tr("Ask this earlier (Ctrl+Up in the list)."));
    allow(m_down, row >= 0 && row + 1 < m_polls.size() ? QString() : tr("There is none behind it."),
          tr("Ask this later (Ctrl+Down in the list)."));
}

// ---- The file ------------------------------------------------------------------------------------

QString PreparedPolls::defaultFile()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation)
        + QLatin1String("/polls.json");
}

void PreparedPolls::chooseFile()
{
    auto *dialog = new QFileDialog(this, tr("Open Prepared Polls"), QFileInfo(m_file).path(),
                                   tr("Prepared polls (*.json);;All files (*)"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFile);
    connect(dialog, &QFileDialog::fileSelected, this, &PreparedPolls::open);
    dialog->open();
}

void PreparedPolls::chooseNewFile()
{
    auto *dialog = new QFileDialog(this, tr("Save Prepared Polls"), QFileInfo(m_file).path(),
                                   tr("Prepared polls (*.json)"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setDefaultSuffix(QStringLiteral("json"));
    connect(dialog, &QFileDialog::fileSelected, this, &PreparedPolls::saveAs);
    dialog->open();
}

void PreparedPolls::open(const QString &fileName)
{
    if (m_save.isActive())
        save();
    const PreparedPollsRead read = PreparedPollsFile::read(fileName);
    const bool isOurs = fileName == m_file;
    if (read.error.isEmpty()) {
        m_file = fileName;
        m_damaged.clear();
        m_polls = read.polls;
        m_news->setText(tr("Kept in %1").arg(QFileInfo(fileName).fileName()));
        return showAll(0);
    }
    m_damaged = fileName;
    if (isOurs) {
        m_file.clear();
        m_news->setText(
            tr("%1 Changes are not kept until you save under another name.").arg(read.error));
        showAll(m_list->currentRow());
    }
    Q_EMIT failed(tr("The prepared polls could not be read. %1").arg(read.error),
                  tr("Mend the file, or choose another one."));
}

void PreparedPolls::saveAs(const QString &fileName)
{
    if (QFileInfo(fileName) == QFileInfo(m_damaged)) {
        Q_EMIT failed(tr("%1 could not be read, so it is not overwritten.").arg(fileName),
                      tr("Choose another name."));
        return;
    }
    m_file = fileName;
    save();
}

void PreparedPolls::changed()
{
    refresh();
    if (!m_file.isEmpty())
        m_save.start();
}

void PreparedPolls::save()
{
    m_save.stop();
    const QString error = PreparedPollsFile::write(m_file, m_polls);
    m_news->setText(error.isEmpty() ? tr("Kept in %1").arg(QFileInfo(m_file).fileName()) : error);
    if (!error.isEmpty())
        Q_EMIT failed(error, tr("Save the polls under another name."));
}

} // namespace Desktop
