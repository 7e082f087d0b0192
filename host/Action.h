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
    enum Type : int {
        None, ///< nothing was asked for: it happened by itself
        SignIn,
        CompleteRegistration,
        Start,
        Stop,
        SignOut,
        StartPoll,
        Ask,
        StartAssessment,
        StopActivity,
        Pause,
        Resume,
        ShowImage,
        UploadImage,
        ShowLesson,
        ShowCard,
        SendText,
        RemoveLearner,
        ReconnectNow
    };
    Q_ENUM(Type)

    Action() = delete;
};

} // namespace Tarvo
