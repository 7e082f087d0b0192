#include "host/CsvExport.h"
