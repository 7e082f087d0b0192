#include "host/ClassRunner.h"
