#include "host/LiveClass.h"
