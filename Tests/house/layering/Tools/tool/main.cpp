#include "hbtools/hbtools.h"
#include "hbtools/config/syConfig.h"
#include "verbs.h"
#include <CLI/CLI.hpp>
#include "base/private.h"
#include "../../C/base/private.h"
#include <unistd.h>
