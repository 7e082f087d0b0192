#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace Host
{

// Text as a terminal may get it. Names and answers come from the learners' devices, replies from whatever
// answers at the address, and files hold anything: what a terminal would obey, or would not show, stands
// there as an escape, such as "\x1b", "\n" or "\u202e". The program's own sequences are put around it
// afterwards, by LiveScreen and Terminal, and nothing else goes to either stream.
class Printable
{
public:
    // Of a longer text the beginning is printed, with an ellipsis.
    static constexpr int MAX_CHARACTERS = 4000;
    // So many marks stand on one letter at most; those behind them are left out. No language has more.
    static constexpr int MAX_MARKS = 8;

    Printable() = default;
    Printable(const QString &text); // whatever it is: that is the point

    const QString &text() const { return m_text; }

private:
    QString m_text;
};

// The same for texts that are measured and put together before they are printed.
QString printable(const QString &text);

// What is looked at of an answer, a name or a command of others, however long it is.
constexpr int KEPT_CHARACTERS = 1000;

// The first characters of a text, as code points: no pair of surrogates is cut.
QString beginning(const QString &text, int characters = KEPT_CHARACTERS);

} // namespace Host
