#pragma once

#include "host/HostExport.h"

#include <QtCore/QObject>

namespace Tarvo
{

/// What a host can ask a `LiveClass` for; names the operation in a `Failure`.
class TARVOHOST_EXPORT Action
{
    Q_GADGET

public:
    /// The calls of a `LiveClass`, each by its name; those of one kind share one.
    enum Type : int {
        None,                 ///< nothing was asked for: it happened by itself
        SignIn,               ///< `signIn()`, with a device token and with OAuth, too
        CompleteRegistration, ///< `completeRegistration()`
        Start,                ///< `start()`
        Stop,                 ///< `stop()`
        SignOut,              ///< `signOut()`
        StartPoll,            ///< `startPoll()`, on pictures, too
        Ask,                  ///< `ask()`
        StartAssessment,      ///< `startAssessment()`
        StopActivity,         ///< `stopActivity()`
        Pause,                ///< `pause()`
        Resume,               ///< `resume()`
        ShowImage,            ///< `showImage()` and `showImageAt()`
        UploadImage,          ///< `uploadImage()`
        ShowLesson,           ///< `showLesson()`
        ShowCard,             ///< `showCard()`
        SendText,             ///< `sendText()` and `sendTextTo()`
        RemoveLearner,        ///< `removeLearner()`
        ReconnectNow          ///< `reconnectNow()`
    };
    Q_ENUM(Type)

    Action() = delete;
};

} // namespace Tarvo
