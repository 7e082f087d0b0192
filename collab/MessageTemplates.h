#pragma once

#include <QtCore/QString>

// The texts that the collaboration channel puts on the wire, and how they are filled. Nothing is
// escaped on the way, so the values are identifiers, numbers, URLs and base64 text only.
//
// Fixed numbers and names inside ("fake-id", the ordinals, the image box, "_tId") and the irregular
// blanks after commas are what the learners' devices and the remote expect.
//
// The constants are ready for every source file that includes this header, for its own static objects
// too.
// clazy:excludeall=non-pod-global-static
namespace Tarvo
{

/// Fills a template's placeholders, from the lowest on, with one value after another: a value that
/// looks like a later placeholder is filled by the values that follow it.
template<typename... Values> QString filled(QString text, const Values &...values)
{
    ((text = text.arg(values)), ...);
    return text;
}

// ---- The event bus -------------------------------------------------------------------------------

/// Publishes a JSON value: %0 the full address, %1 the body, written in as it is.
inline const QString PUBLISH_MESSAGE_3 =
    QStringLiteral(R"({"type":"publish","address":"%0","body":%1})");

/// Publishes a compressed text: %0 the full address, %1 the sender, %2 the type, %3 LZMA in base64.
inline const QString PUBLISH_MESSAGE64 = QStringLiteral(
    R"({"type":"publish","address":"%0","body":{"from":"%1","type":"%2","data":["%3"]}})");

/// Registers this connection on an address: %0 the full address.
inline const QString REGISTER_MESSAGE = QStringLiteral(R"({"type":"register","address":"%0"})");

/// Keeps the connection alive.
inline const QString PING_MESSAGE = QStringLiteral(R"({"type":"ping"})");

// ---- Payloads: compressed before they are published ----------------------------------------------

/// A bare JSON string: %0 its text. "heavy" and "presenterIsActive" send it unfilled.
inline const QString PLAIN_DATA = QStringLiteral(R"("%0")");

/// A poll without a question of its own: %0 the poll type's and %1 the ordinal type's wire name,
/// %2 the session token, %3 the session code, %4 the start time (a bare number, written twice),
/// %5 the poll id, %6 the options separated by commas, %7 the card's background image.
inline const QString START_POLL_DATA64 = QStringLiteral(
    R"({"type":"%0","expressionQuestionId":1,"metadata":{"ordinalType":"%1","options":[%6]},)"
    R"("id":"%5","sessionToken":"%2","sessionCode":"%3","lessonId":null,"startTime":%4,)"
    R"("lastUpdatedOn":%4,"card":{"segment":"fake-id","tracks":[{"placeholder":true}],)"
    R"("visible":true,"ordinal":1395358139515,"styles":{"backgroundColor":"",)"
    R"("backgroundImage":"%7","backgroundSize":"100%"},"components":[]},"unrespondedUsers":[]})");

/// An image card: %0 the segment id, %1 the image's URL or data URI.
inline const QString SHOW_CARD_DATA = QStringLiteral(
    R"({"segment":{"id":"%0"},"isTeacherCard":true,"autoSend":true,"notes":null,"tracks":[],)"
    R"("visible":true,"ordinal":1,"styles":{"backgroundColor":"","backgroundImage":""},)"
    R"("components":[{"ordinal":1397148149039,"styles":{"anchor":false,"width":770,"left":15,)"
    R"("height":570,"top":15},"blob":{"url":"%1"},"type":"image"}],"trackSortSeq":0,)"
    R"("_tId":"DF8A71DA-3EF2-44E3-9B2F-F651C7A8B0F9","hasStudentCards":false})");

/// The lesson shown on the remote: %0 the lesson's id, %1 its name.
inline const QString LESSON_DATA = QStringLiteral(R"({"lessonId":"%0", "name":"%1"})");

/// The card shown on the remote: %0 its number, %1 CURRENTCARD_SUBDATA of every card separated by
/// commas, %2 how many cards there are.
inline const QString CURRENTCARD_DATA =
    QStringLiteral(R"({"currentCard":"%0", "cards": [%1], "totalCards":"%2"})");

/// One card of CURRENTCARD_DATA: %0 its name.
inline const QString CURRENTCARD_SUBDATA = QStringLiteral(R"({"name":"%0"})");

// ---- Formulas in question texts ------------------------------------------------------------------

/// Opens a formula embedded in a question's text, for hosts that write one.
inline const QString TARVO_LATEX_START =
    QStringLiteral(R"(<span class="mathquill-embedded-latex">)");

/// Closes what TARVO_LATEX_START opened.
inline const QString TARVO_LATEX_END = QStringLiteral("</span>");

} // namespace Tarvo
