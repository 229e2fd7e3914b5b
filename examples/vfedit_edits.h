// The edits of vfedit, each done on a content that is in a VFile. That is one of the class itself, with no operation
// overridden: then searches, lines and saves go over whole blocks instead of byte by byte.
#pragma once

#include "hostfile/hfile.h"
#include "vfedit_args.h"
#include "vfedit_terminal.h"
#include "vfile/vfile.h"

#include <cstdint>
#include <cstdio>
#include <string>

// What the virtual memory can hold: one block of the content is one of its pages, and the last page would end at 2 GiB,
// one byte beyond the last address.
constexpr std::int32_t ContentMax = 2147482624;

// Inserts what `f` has, to its end, at `pos`. `name` is for messages, `verb` for the progress line.
bool InsertFile(VFile& content, Progress& progress, std::int32_t pos, HFile& f, const std::string& name,
                const char* verb);

// Opens `name` for reading, "-" being standard input. False: told.
bool OpenInput(HFile& f, const std::string& name);

struct Done {
    std::int64_t matches = 0; // found or replaced
};

// Does one edit. What it prints goes to `out`; failures are told under `name`.
bool DoEdit(VFile& content, Progress& progress, const Edit& edit, const std::string& name, std::FILE* out, Done& done);
