#pragma once

#include "Http.h"

#include <QtCore/QMap>
#include <QtCore/QPair>

#include <climits>

// What may come on a polling connection, by name: both ways of cutting responses read all of it.

using StreamTable = QMap<QByteArray, QByteArray>;

// A row of a test names a stream that there is.
template<typename Table>
typename Table::mapped_type named(const Table &table, const QByteArray &name)
{
    if (!table.contains(name))
        qFatal("There is no stream \"%s\"", name.constData());
    return table.value(name);
}

constexpr int LARGEST_BODY = 16 * 1024 * 1024;
constexpr int LARGEST_HEADER = 64 * 1024;

// Sizes that are none, or that a reader may not take for what they are.
inline const QList<QByteArray> ODD_SIZES = {
    "1", "0", "-5",    "-7fffffff", "80000000", "ffffffff", "100000002", "10000000000000005",
    "",  "x", "5;a=b", "0x"};

// Small ones, to be cut everywhere.
inline const StreamTable &cutStreams()
{
    static const QByteArray ok = "HTTP/1.1 200\n";
    static const QByteArray next = plain(2, "ab");
    static const QByteArray helloChunk = CHUNKED + "5\r\nhello\r\n";
    static const auto table = [] {
        StreamTable streams = {
            {"known length", plain(5, "hello")},
            {"two responses", plain(5, "hello") + plain(2, "o\n")},
            {"body of one byte, then the next", plain(1, "o") + next},
            {"empty body, then the next", plain(0) + plain(5, "hello")},
            {"half a body", plain(9, "hello")},
            {"half a header", "HTTP/1.1 200 OK\r\nA: b\r\n"},
            {"bare line feeds", ok + "Content-Length:5\n\nhello"},
            {"line feeds of both kinds", ok + "Content-Length: 5\n\r\nhello"},
            {"carriage returns end no header", ok + "\r\r\nContent-Length: 5\n\nhello"},
            {"body that holds a header", plain(21, "aHTTP/1.1 200 OK\r\n\r\nb")},
            {"bytes before the first response", "x\r\nHT\n\nHTTP" + plain(5, "hello")},
            {"no response", "SSH-2.0\r\n\r\n"},
            {"nobody asked", plain(5, "hello")},
            {"nobody asked twice", plain(5, "hello") + next + plain(0)},
            {"chunks", helloChunk + "0\r\n\r\n"},
            {"chunks and the next response", CHUNKED + "3\r\nhel\r\n2\r\nlo\r\n0\r\n\r\n" + next},
            {"half a chunk", helloChunk + "5\r\nwor"},
            {"half a size line", helloChunk + "1"},
            {"size lines with bare line feeds", CHUNKED + "5\nhello\r\n0\n\n" + next},
            {"chunk that holds a header", CHUNKED + "A\r\nHTTP/1.1\n\n\r\n0\r\n\r\n" + next},
            {"chunk that holds line ends", CHUNKED + "6\r\n\r\n0\r\n\n\r\n0\r\n\r\n"},
            {"no chunk at all", CHUNKED + "0\r\n\r\n" + plain(5, "hello")},
            {"trailers", helloChunk + "0\r\nA: b\r\n\r\n" + next},
            {"size with zeros in front", CHUNKED + "0000000000000000000005\r\nhello\r\n0\r\n"},
        };
        for (const QByteArray &size : ODD_SIZES)
            streams.insert("size line '" + size + "'", helloChunk + size + "\r\nother\r\n" + next);
        return streams;
    }();
    return table;
}

// What comes before a silence, and after it.
using SilenceTable = QMap<QByteArray, QPair<QByteArray, QByteArray>>;

inline const SilenceTable &silenceStreams()
{
    static const QByteArray next = plain(3, "end");
    static const SilenceTable table = {
        {"next response, known length", {plain(6, "abc"), next}},
        {"next response, nothing of the body yet", {plain(6), next}},
        {"next response, between chunks", {CHUNKED + "2\r\nab\r\n", next}},
        {"next response, before the first chunk", {CHUNKED, next}},
        {"next response, inside a chunk", {CHUNKED + "5\r\nab", next}},
        {"next response, inside a size line", {CHUNKED + "5", next}},
        {"rest of the body", {plain(6, "abc"), "def" + next}},
        {"rest of the body begins like a response", {plain(6, "abc"), "HTH" + next}},
        {"rest of the body holds a response", {plain(9, "abc"), "xHTTP/" + next}},
        {"rest of a chunk", {CHUNKED + "5\r\nab", "HTc\r\n0\r\n" + next}},
        {"next chunk holds a response", {CHUNKED + "2\r\nab\r\n", "6\r\nHTTP/1\r\n0\r\n" + next}},
    };
    return table;
}

// A header of so many bytes, in one line or in many.
inline QByteArray longHeader(int size)
{
    const QByteArray start = "HTTP/1.1 200 OK\r\nX: ";
    return start + QByteArray(size - start.size() - 4, 'x') + "\r\n\r\n";
}

inline QByteArray headerOfManyLines(int size)
{
    const QByteArray start = "HTTP/\n";
    return start + QByteArray("a\n").repeated((size - start.size() - 1) / 2) + "\n";
}

// A chunk of so many bytes, with zeros in front of its size.
inline QByteArray paddedChunk(int size, int lineSize = 0)
{
    return QByteArray::number(size, 16).rightJustified(lineSize, '0') + "\r\n"
        + QByteArray(size, 'x') + "\r\n";
}

// Sizes at a bound, and beyond.
inline const StreamTable &limitStreams()
{
    static const QByteArray unended = longHeader(LARGEST_HEADER + 100);
    static const QByteArray oneMore(LARGEST_BODY + 1, 'x');
    static const QByteArray full = oneMore.left(LARGEST_BODY);
    static const QByteArray zeros(LARGEST_HEADER + 1, '0');
    static const QByteArray behind = CHUNKED + "0\r\n";
    static const QByteArray chunks = CHUNKED + paddedChunk(LARGEST_BODY / 64).repeated(64);
    static const StreamTable table = {
        {"header", longHeader(LARGEST_HEADER)},
        {"header, a byte more", longHeader(LARGEST_HEADER + 1)},
        {"header of many lines", headerOfManyLines(LARGEST_HEADER + 1)},
        {"header that is not ended", unended.left(LARGEST_HEADER)},
        {"header that is not ended, a byte more", unended.left(LARGEST_HEADER + 1)},
        {"body", plain(LARGEST_BODY, full)},
        {"body, a byte more", plain(LARGEST_BODY + 1, oneMore)},
        {"body of any length", plain(INT_MAX, oneMore)},
        {"chunk", CHUNKED + paddedChunk(LARGEST_BODY) + "0\r\n\r\n"},
        {"chunk, a byte more", CHUNKED + paddedChunk(LARGEST_BODY + 1)},
        {"chunk of any length", CHUNKED + "7fffffff\r\n" + oneMore},
        {"chunks", chunks + "0\r\n" + plain(2, "ab")},
        {"chunks, two bytes more", chunks + paddedChunk(2)},
        {"size line", CHUNKED + paddedChunk(5, LARGEST_HEADER - 2)},
        {"size line, a byte more", CHUNKED + paddedChunk(5, LARGEST_HEADER - 1)},
        {"size line that is not ended", CHUNKED + zeros.left(LARGEST_HEADER)},
        {"size line that is not ended, a byte more", CHUNKED + zeros},
        {"no response", full},
        {"no response, a byte more", oneMore},
        {"behind the chunks", behind + full.left(LARGEST_BODY - 3)},
        {"behind the chunks, a byte more", behind + full.left(LARGEST_BODY - 2)},
    };
    return table;
}
