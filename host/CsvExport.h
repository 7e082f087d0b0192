#pragma once

#include <QtCore/QString>

class QIODevice;

namespace Tarvo
{

class LearnersModel;
class ResultsModel;

// Writes everybody's answers as CSV. Returns whether the device took all of it.
bool writeCsv(QIODevice *device, const ResultsModel &results, const LearnersModel &learners);

} // namespace Tarvo
