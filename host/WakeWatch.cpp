#include "host/WakeWatch.h"
