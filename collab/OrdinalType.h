#pragma once

#include "model/OrdinalType.h"
