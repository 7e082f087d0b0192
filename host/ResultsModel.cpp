#include "host/ResultsModel.h"
