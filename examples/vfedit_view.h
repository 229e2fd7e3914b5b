// vfedit view FILE: a pager on a terminal.
#pragma once

// The exit status.
int View(const char* name);
