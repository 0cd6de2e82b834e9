// [README
#include <hbtools/hbtools.h>
int answer = 42;
// README]
