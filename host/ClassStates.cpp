#include "host/ClassStates.h"
