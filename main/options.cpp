#include "include/options.h"

sOptionArgs g_S_options;
