// Only so that its headers are compiled.
#include "Prelude.h"
