#include "SpeakUtf8.h"

#include <QtCore/QTextCodec>

namespace Guide
{

void speakUtf8()
{
#include "encoding.inc"
}

} // namespace Guide
