#include "Answers.h"

#include "client/PresenterClient.h"
#include "collab/PresenterCollab.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QTextCodec>
#include <QtCore/QTimer>

namespace Guide
{

void speakUtf8()
{
#include "encoding.inc"
}

void silenceTheLibrary()
{
#include "quiet.inc"
}

void reopenWhenLost(PresenterClient &client, PresenterCollab *collab)
{
#include "reopening.inc"
}

} // namespace Guide
