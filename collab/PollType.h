#pragma once

#include "model/PollType.h"
