#pragma once

#include <QtCore/QString>
#include <QtCore/QVector>

// Real output for the examples of docs/protocol.md.
//
// An example in the document is a fenced block with its name in a comment on the line before it:
//
//     <!-- example: card -->
//     ```json
//     { ... }
//     ```
//
// and a row of one of the lists below that makes the same text with the library. The two are
// compared whole; a newline at the end of the made text may be missing. A JSON object that would
// mostly repeat an earlier one can be cut down to some of its top-level keys:
//
//     <!-- example: question-text, only: maxChars type -->
//
// Every block fenced as json must be such an example, every example must have a row, and every row
// must be used. What is random or of the moment (ids, tokens) a row sets to a fixed value.
struct Example {
    const char *name; // small letters, digits and hyphens
    QString (*make)();
};

// Questions of every kind, cards, options, feedback.
QVector<Example> contentExamples();
// What goes out on the event bus, and what of what comes in reaches the host.
QVector<Example> messageExamples();
