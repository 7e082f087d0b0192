#include "host/Failure.h"
