// The edits of vfedit that look for something: find and replace.
#pragma once

#include "vfedit_edits.h"

// Each false if it failed: told.
bool Replace(const Work& work, const Edit& edit, Done& done);
bool Find(const Work& work, const Edit& edit, Done& done);
