// csv_to_tsv CSV TSV: a table with commas and quotes becomes one with tabs. The contents are read and written by the
// streams of the standard library; code that knows only these works on files that are larger than the memory.
//
//   file --Load--> VFile --std::istream--> Convert --std::ostream--> VFile --SaveSafely--> file
#include "vfile/vfile.h"
#include "vfile/vfile_std.h"

#include <cstdio>
#include <istream>
#include <ostream>

namespace {

// Knows nothing of VFile. A quoted field may hold commas, line ends and doubled quotes. What would divide a field of
// the new table, a tab or a line end, becomes a space.
void Convert(std::istream& in, std::ostream& out) {
    bool quoted = false;
    char c;
    while (in.get(c)) {
        if (c == '"') {
            const bool doubled = quoted && in.peek() == '"';
            if (doubled)
                out.put(static_cast<char>(in.get()));
            else
                quoted = !quoted;
        } else if (c == '\t' || (quoted && (c == '\n' || c == '\r'))) {
            out.put(' ');
        } else {
            out.put(c == ',' && !quoted ? '\t' : c);
        }
    }
}

bool Succeeded(const char* name, const VFile& f) {
    if (f.res == resDone) return true;
    char words[64];
    GetTextResMsg(words, sizeof words, f.res);
    std::fprintf(stderr, "%s: %s\n", name, words);
    return false;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: csv_to_tsv CSV TSV\n");
        return 2;
    }
    VFile csv, tsv;
    csv.Load(argv[1], 1);
    if (!Succeeded(argv[1], csv)) return 1;
    {
        vfile::StreamBuf from(csv, std::ios_base::in);
        vfile::StreamBuf to(tsv, std::ios_base::out);
        std::istream in(&from);
        std::ostream out(&to);
        Convert(in, out);
    } // the buffer's end hands over what it still has; a failure stands in `tsv.res`
    if (!Succeeded(argv[2], tsv)) return 1;
    tsv.SaveSafely(argv[2]);
    return Succeeded(argv[2], tsv) ? 0 : 1;
}
