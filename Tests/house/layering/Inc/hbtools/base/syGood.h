#pragma once
#include <string>
#include "hbtools/base/syOther.h"
