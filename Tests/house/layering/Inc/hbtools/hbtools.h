#include "hbtools/base/syGood.h"
