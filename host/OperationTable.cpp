#include "host/OperationTable.h"
