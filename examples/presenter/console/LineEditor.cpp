#include "console/LineEditor.h"

#include <QtCore/QEventLoop>
#include <QtCore/QRegularExpression>

#include <clocale>
#include <cstdio>
#include <histedit.h>
#include <unistd.h>

namespace Host
{

namespace
{

constexpr int MAX_HISTORY = 200;
constexpr int SEARCH_MARK_LENGTH = 4; // "bck:"
constexpr wchar_t ESCAPE = 0x1B;
constexpr wchar_t END_OF_INPUT = 0x04;
constexpr wchar_t START_OVER = 0x1C; // the terminal makes a signal of this key, so it is free

struct Binding {
    const wchar_t *keys;
    const wchar_t *command;
};

// Beyond libedit's own. Terminals differ in what Home, End and the arrows with Ctrl send.
constexpr Binding BINDINGS[] = {
    {L"^I", L"complete-word"},      {L"^L", L"clear-the-screen"},
    {L"^R", L"em-inc-search-prev"}, {L"^W", L"ed-delete-prev-word"},
    {L"^\\", L"ed-start-over"},     {L"\\e[1~", L"ed-move-to-beg"},
    {L"\\e[7~", L"ed-move-to-beg"}, {L"\\e[4~", L"ed-move-to-end"},
    {L"\\e[8~", L"ed-move-to-end"}, {L"\\e[1;5D", L"ed-prev-word"},
    {L"\\e[1;5C", L"em-next-word"}, {L"\\e[3~", L"ed-delete-next-char"},
    {L"^V", L"ed-unassigned"},      {L"\\ex", L"ed-unassigned"},
};

// Keys that nothing is bound to, and control characters that no key sends but a paste may hold: libedit
// would take their last characters for text.
QString withoutUnknownKeys(QString typed)
{
    static const QRegularExpression unknown(QStringLiteral(
        "\x1b\\[(?![ABCDHF]|[13478]~|1;5[CD])[0-?]*[ -/]*[@-~]|[\\x{00}\\x{80}-\\x{9f}]"));
    return typed.remove(unknown);
}

} // namespace

LineEditor::LineEditor(QObject *parent) : QObject(parent), m_history(history_winit())
{
    HistEventW event;
    history_w(m_history, &event, H_SETSIZE, MAX_HISTORY);
    history_w(m_history, &event, H_SETUNIQUE, 1);
}

LineEditor::~LineEditor()
{
    close();
    history_wend(m_history);
}

// ---- The terminal --------------------------------------------------------------------------------

bool LineEditor::open()
{
    if (tcgetattr(STDIN_FILENO, &m_before) != 0)
        return false;
    m_nowhere = std::fopen("/dev/null", "we");
    if (!m_nowhere)
        return false;
    // libedit asks the locale, once, which letters above ASCII are inserted when typed; keys come here
    // as UTF-8 under every locale. Only this thread's locale changes: the toolkit never notices.
    const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    const locale_t before = uselocale(utf8);
    m_editor = el_init_fd("tarvo-presenter", stdin, m_nowhere, m_nowhere, STDIN_FILENO,
                          STDIN_FILENO, STDIN_FILENO);
    el_wset(m_editor, EL_EDITOR, L"emacs");
    uselocale(before);
    if (utf8)
        freelocale(utf8);
    el_wset(m_editor, EL_CLIENTDATA, this);
    el_wset(m_editor, EL_HIST, history_w, m_history);
    el_wset(m_editor, EL_GETCFN, &LineEditor::nextKey);
    el_wset(m_editor, EL_ADDFN, L"complete-word", L"", &LineEditor::completeWord);
    el_wset(m_editor, EL_ADDFN, L"clear-the-screen", L"", &LineEditor::clearScreen);
    for (const Binding &binding : BINDINGS)
        el_wset(m_editor, EL_BIND, binding.keys, binding.command, nullptr);
    el_wset(m_editor, EL_UNBUFFERED, 1); // one key at a time: between two, the event loop turns
    return true;
}

void LineEditor::close()
{
    if (!m_editor)
        return;
    tcsetattr(STDIN_FILENO, TCSADRAIN, &m_before);
    m_keys.clear();
    m_isClosing = true;
    if (m_waiting)
        m_waiting->quit();
    else if (!m_isInside)
        release();
}

void LineEditor::release()
{
    el_end(m_editor);
    m_editor = nullptr;
    m_isClosing = false;
    std::fclose(m_nowhere);
}

void LineEditor::resume()
{
    if (!m_editor || m_isClosing)
        return;
    el_wset(m_editor, EL_PREP_TERM, 0); // believes that its settings are still in force
    el_wset(m_editor, EL_PREP_TERM, 1);
}

// ---- Keys ----------------------------------------------------------------------------------------

void LineEditor::type(const QByteArray &bytes)
{
    m_keys += withoutUnknownKeys(m_typed.read(bytes)).toStdWString();
    edit();
}

bool LineEditor::clear()
{
    const bool hasText = !m_text.isEmpty() || !m_search.isEmpty();
    if (hasText) {
        m_keys.assign(2, START_OVER); // the first may end something begun, such as Escape
        edit();
    }
    return hasText;
}

void LineEditor::edit()
{
    if (m_waiting)
        return m_waiting->quit();
    while (takeKey()) { }
    if (m_editor && !m_isInside)
        show();
}

// Has libedit carry out one key, or one that it keeps from the end of a search; false when there is
// none.
bool LineEditor::takeKey()
{
    if (!m_editor || m_isInside)
        return false;
    int length = 0;
    m_hasKey = false;
    m_isDry = false;
    m_isInside = true;
    const wchar_t *text = el_wgets(m_editor, &length);
    m_isInside = false;
    if (m_isClosing)
        release();
    else if (!m_isDry && text)
        takeLine(QString::fromWCharArray(text, length));
    return !m_isDry;
}

void LineEditor::takeLine(QString text)
{
    const bool isEnd = text == QString(QChar(END_OF_INPUT));
    const bool isLine = text.endsWith(QLatin1Char('\n'));
    if (!isEnd && !isLine)
        return; // still being typed
    text.chop(1);
    if (isLine && !text.isEmpty() && !text.at(0).isSpace()) {
        HistEventW event;
        history_w(m_history, &event, H_ENTER, text.toStdWString().c_str());
    }
    m_keys.insert(0, 1, START_OVER);
    takeKey();
    show();
    // Whoever gets the line may close the editor.
    if (isEnd)
        emit ended();
    else
        emit line(text);
}

// Nearly always, libedit gets one key and is done with it. Only in the middle of something, such as a
// search, does it ask for more than there is; then the event loop turns in here until keys come.
int LineEditor::nextKey(editline *editor, wchar_t *key)
{
    LineEditor &self = *of(editor);
    self.m_isDry = self.m_keys.empty() && !(self.m_hasKey && self.waitForKeys());
    if (self.m_isDry)
        return 0;
    self.m_hasKey = true;
    *key = self.m_keys.front();
    // In a search, Escape only ends the search, and what follows it would be taken for text. Left where
    // it is, the key that it begins comes after the search.
    const bool beginsKey = *key == ESCAPE && self.m_keys.size() > 1;
    if (!(beginsKey && self.isSearching()))
        self.m_keys.erase(0, 1);
    return 1;
}

bool LineEditor::isSearching()
{
    lookAtLine();
    return !m_search.isEmpty();
}

bool LineEditor::waitForKeys()
{
    show();
    QEventLoop loop;
    m_waiting = &loop;
    loop.exec();
    m_waiting = nullptr;
    return !m_isClosing && !m_keys.empty(); // no keys: the application ends
}

// ---- The line ------------------------------------------------------------------------------------

// In a search, libedit has the found line and, on a line of its own, "bck:" and what is looked for, or
// "bck?" when it is nowhere.
void LineEditor::lookAtLine()
{
    const LineInfoW *info = el_wline(m_editor);
    const QString whole = QString::fromWCharArray(info->buffer, int(info->lastchar - info->buffer));
    const int end = whole.indexOf(QLatin1Char('\n'));
    m_text = whole.left(end);
    m_search.clear();
    if (end >= 0) {
        const bool isFound = whole.mid(end + SEARCH_MARK_LENGTH, 1) == QLatin1String(":");
        m_search = isFound ? QStringLiteral("search '%1'") : QStringLiteral("nothing like '%1'");
        m_search = m_search.arg(whole.mid(end + SEARCH_MARK_LENGTH + 1));
    }
    m_cursor = QString::fromWCharArray(info->buffer, int(info->cursor - info->buffer)).size();
}

void LineEditor::show()
{
    lookAtLine();
    emit changed();
}

unsigned char LineEditor::clearScreen(editline *editor, int)
{
    emit of(editor)->screenClearAsked();
    return CC_NORM;
}

unsigned char LineEditor::completeWord(editline *editor, int)
{
    of(editor)->complete();
    return CC_REFRESH;
}

void LineEditor::complete()
{
    lookAtLine();
    const QString upToCursor = m_text.left(m_cursor);
    const Candidates candidates = completion ? completion(upToCursor) : Candidates();
    QString common = candidates.words.value(0);
    for (const QString &candidate : candidates.words) {
        while (!candidate.startsWith(common))
            common.chop(1);
    }
    const bool isOnly = candidates.words.size() == 1;
    if (isOnly && !common.endsWith(QLatin1Char('/')))
        common += QLatin1Char(' ');
    // The only one may stand in quotes that have not been typed.
    const QString word = upToCursor.mid(candidates.begin);
    if (isOnly || common.startsWith(word)) {
        el_deletestr(m_editor, int(word.toStdWString().size()));
        el_winsertstr(m_editor, common.toStdWString().c_str());
    }
    if (candidates.words.size() > 1)
        emit offered(candidates.words);
}

LineEditor *LineEditor::of(editline *editor)
{
    void *self = nullptr;
    el_wget(editor, EL_CLIENTDATA, &self);
    return static_cast<LineEditor *>(self);
}

} // namespace Host
