#include "host/Backoff.h"
