#include "host/ReplyReason.h"
