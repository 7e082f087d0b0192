#pragma once

#include "host/Assessment.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace Host
{

// The questions and settings of an assessment, read from a JSON file; docs/presenter.md describes it.
struct AssessmentFile {
    Tarvo::Assessment assessment;
    QString error; // what is wrong with the file; empty when it was read
};

AssessmentFile parseAssessment(const QByteArray &json);
// folder: see readNamed().
AssessmentFile readAssessment(const QString &fileName, const QString &folder);

} // namespace Host
