#include "hbtools/core/syValue.h"
#include <fmt/core.h>
#  include	<unistd.h>
#include "base/private.h"
#include "../../../C/base/private.h"
#include "hbtools/hbtools.h"
