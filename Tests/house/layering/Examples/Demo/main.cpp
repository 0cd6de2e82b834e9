#include <vector>
#include "core/private.h"
