/// @file
/// The foundation: everything that the rest of the library, and its hosts, stand on.
#pragma once

#include "foundation/datetime.h"
#include "foundation/halt.h"
#include "foundation/number.h"
#include "foundation/result.h"
#include "foundation/text.h"
