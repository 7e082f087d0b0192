#include "host/Operation.h"
