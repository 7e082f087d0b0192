#pragma once

#include "Http.h"
#include "sockjs/HttpResponseReader.h"

#include <QtCore/QMetaType>
#include <QtCore/QStringList>
#include <QtTest/QTest>

#include <utility>

// Streams read as HTTP/1.1 means them, and rows of tests that say what is found.

using Tarvo::HttpResponseReader;
using State = Tarvo::HttpResponseReader::State;
using Found = Tarvo::HttpResponseReader::Found;
Q_DECLARE_METATYPE(Tarvo::HttpResponseReader::State)

inline const QString NOTHING = u""_s;
inline const QString IN_HEADER = u"broken: cut off inside a header"_s;
inline const QString IN_BODY = u"broken: cut off inside a body"_s;

// A reader, with what it has found written down: "200|body ab|200|half c".
struct HttpReading {
    void feed(const QByteArray &bytes)
    {
        reader.append(bytes);
        QByteArray piece;
        Found found = Found::NOTHING_YET;
        do {
            found = reader.next(&piece);
            note(found, piece);
        } while (found != Found::NOTHING_YET && found != Found::BROKEN);
    }
    void note(Found found, const QByteArray &piece)
    {
        if (found == Found::HEADER)
            texts.append(QString::number(reader.status()));
        else if (found == Found::PIECE)
            body += piece;
        else if (found == Found::END)
            texts.append(QLatin1String("body ") + QString::fromLatin1(std::exchange(body, {})));
        else if (found == Found::BROKEN && problem.isEmpty())
            problem = QLatin1String("broken: ") + reader.problem();
    }
    QString found() const
    {
        QStringList all = texts;
        if (!body.isEmpty())
            all.append(QLatin1String("half ") + QString::fromLatin1(body));
        if (!problem.isEmpty())
            all.append(problem);
        return all.join('|');
    }

    HttpResponseReader reader;
    QStringList texts;
    QByteArray body; // of the answer that is not whole
    QString problem;
};

// What the end of the connection adds.
inline QString foundAtEnd(HttpReading reading)
{
    const Found found = reading.reader.endOfInput();
    if (found == Found::NOTHING_YET)
        return NOTHING;
    return found == Found::END ? u"end"_s : QLatin1String("broken: ") + reading.reader.problem();
}

inline void verify(const HttpReading &reading)
{
    QTEST(reading.found(), "found");
    QFETCH(State, state);
    QCOMPARE(int(reading.reader.state()), int(state));
    QCOMPARE(reading.reader.hasBegun(), state != State::BETWEEN);
    QTEST(foundAtEnd(reading), "atEnd");
}

// In one piece, in two at every place, and byte by byte.
inline void verifyEveryCut(const QByteArray &stream)
{
    HttpReading whole;
    whole.feed(stream);
    verify(whole);
    for (int cut = 0; cut <= stream.size() && !QTest::currentTestFailed(); ++cut) {
        HttpReading halves;
        halves.feed(stream.left(cut));
        halves.feed(stream.mid(cut));
        verify(halves);
    }
    HttpReading bytewise;
    for (const char byte : stream)
        bytewise.feed(QByteArray(1, byte));
    verify(bytewise);
}

inline void addReadingColumns()
{
    QTest::addColumn<QByteArray>("stream");
    QTest::addColumn<QString>("found");
    QTest::addColumn<State>("state");
    QTest::addColumn<QString>("atEnd");
}

// A row's name stands in one line.
inline QByteArray printable(QByteArray name)
{
    return name.replace('\r', "\\r").replace('\n', "\\n");
}

inline void row(const QByteArray &name, const QByteArray &stream, const QString &found,
                State state = State::BETWEEN, const QString &atEnd = NOTHING)
{
    QTest::newRow(printable(name)) << stream << found << state << atEnd;
}

// Found ends with the problem.
inline void brokenRow(const QByteArray &name, const QByteArray &stream, const QString &found)
{
    const QString problem = found.mid(found.lastIndexOf('|') + 1);
    row(name, stream, found, State::BROKEN, problem);
}

inline QByteArray answer(const QByteArray &fields, const QByteArray &body = QByteArray())
{
    return "HTTP/1.1 200 OK\r\n" + fields + "\r\n" + body;
}
