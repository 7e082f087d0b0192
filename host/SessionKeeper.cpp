#include "host/SessionKeeper.h"
