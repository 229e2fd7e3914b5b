/// @file
/// The foundation: everything that the rest of the library, and its hosts, stand on.
#pragma once

#include "datetime.h"
#include "halt.h"
#include "integer.h"
#include "number.h"
#include "result.h"
#include "text.h"
