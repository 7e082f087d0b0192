#pragma once

#include <QtCore/QByteArray>

// Texts as a class session carries them, the same in every run.
namespace Lesson
{

// `bytes` bytes of JSON about learners, answers and times, with the variety that real ones have.
QByteArray text(int bytes);

} // namespace Lesson
