// The interface's layout, as the tests' compiler sees it: the checks are made while this compiles.
#include "pcsim/layout.h"
