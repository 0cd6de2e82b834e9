#include <sys/stat.h>
#include <unistd.h>
#include "hbtools/base/syGood.h"
#include "hbtools/config/syConfig.h"
