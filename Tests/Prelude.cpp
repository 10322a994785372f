// SPDX-License-Identifier: GPL-3.0-or-later
// Only so that its headers are compiled.
#include "Prelude.h"
