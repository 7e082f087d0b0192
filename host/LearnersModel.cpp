#include "host/LearnersModel.h"
