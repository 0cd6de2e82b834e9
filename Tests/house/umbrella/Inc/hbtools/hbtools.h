#include "hbtools/base/syA.h"
#include "hbtools/base/syGone.h"
