#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace Tarvo
{

// A PNG image by its address, or else as its bytes; neither for no picture.
struct Picture {
    QString url;
    QByteArray png;
};

// A poll of a fixed kind as the host asks for it.
struct FixedPoll {
    int kind;     // PollType::POLL_TYPE
    int ordinals; // OrdinalType::ORDINAL_TYPE
    int count;    // of the options
    Picture picture;
};

} // namespace Tarvo
