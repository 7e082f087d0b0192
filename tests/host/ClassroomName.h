#pragma once

#include <QtCore/QString>

// The name under which this test program reaches services on its own machine. The program has a name
// service of its own for it, so that the name can be gone.
QString classroomName();
void setClassroomNameKnown(bool known);
