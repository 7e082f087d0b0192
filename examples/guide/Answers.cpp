#include "Answers.h"

#include "client/PresenterClient.h"
#include "collab/PresenterCollab.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QTimer>

namespace Guide
{

void silenceTheLibrary()
{
#include "quiet.inc"
}

void reopenWhenLost(PresenterClient &client, PresenterCollab *collab)
{
#include "reopening.inc"
}

} // namespace Guide
