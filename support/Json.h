#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QJsonDocument>

namespace Tarvo
{

// What QJsonDocument::fromJson makes of a text in UTF-8, of whose memory nothing is lost.
//
// Version 5 of the toolkit forgets to release a list or an object whose name comes again in the same object:
// ten times the size of the text, each time that an outsider sends one. So members whose names come again are
// taken out of the text first, unread. The last one of a name stays, as with the toolkit, which takes any of them
// where there are many.
QJsonDocument readJson(QByteArray json, QJsonParseError *error = nullptr);

} // namespace Tarvo
