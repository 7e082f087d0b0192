#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

// SockJS frames as the collaboration server delivers them when learners join and answer.
namespace Frames
{

QString join(int learner);
// `text` is what the learner typed; a short one stands for a choice.
QString pollResponse(int learner, const QByteArray &text);

} // namespace Frames
