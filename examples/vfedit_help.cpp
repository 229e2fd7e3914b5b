// What --help prints.
#include "vfedit_args.h"

const char* const HelpText =
    R"(Usage: vfedit [OPTION...] IN [-o OUT] EDIT...
       vfedit [OPTION...] -i[SUFFIX] EDIT... -- FILE...
       vfedit view FILE
Edit a file of up to 2 GiB in a few megabytes of memory. "-" is standard input or output.

Options, anywhere before or between the edits:
  -o, --output OUT  write the result to OUT, which may be IN; needed if an edit changes anything
  -i[SUFFIX]        edit each FILE in place, those that change; the old one stays as FILE with the SUFFIX, if there is one
  -j N              edit N files at a time, 1 to 64
  -f SCRIPT         do the edits in SCRIPT, one on a line
  --dry-run         write nothing, tell what would change
  --json            tell what find and stats find, and the summary, as lines of JSON
  --cache KB        keep at most KB kilobytes of the content in RAM, 0 to 32767 (default 4000)
  --temp DIR        make the swap file in DIR (default $TMP, $TEMP, $TMPDIR, /var/tmp, /tmp)
  --in-place        write into OUT itself, where it can't be replaced; a failure on the way leaves a mixture
  --force           overwrite OUT even if somebody changes it meanwhile
  --status          exit with 1 if a find or replace meets nothing
  --match-limit KB  the longest match of a regular expression (default 8192)
  -n COUNT, -c, --lines A,B, --range A,B
                    behind the texts of a replace or a find: see there
  -q, --quiet       no summary, no progress
  --help, --version
  --                ends the options

Edits, done in their order:
  insert POS TEXT                 insert TEXT at POS
  delete FROM COUNT               delete COUNT bytes at FROM
  delete --lines A,B              delete lines A to B, or by --range the bytes from A up to B
  overwrite POS TEXT              replace as many bytes at POS as TEXT has
  append TEXT                     insert TEXT at the end
  insert-file POS FILE            insert the whole of FILE at POS
  append-file FILE                insert the whole of FILE at the end
  replace [-Eimuw] [--] OLD NEW [-n COUNT]
                                  replace every OLD by NEW, or the first COUNT, from the start on
  find [-Eimuwclo] [--] TEXT      print "POS LINE:COLUMN" for each TEXT; with -c how many there are, with -l the
                                  name of a file that has one, with -o what matches
  patch FILE                      do what the lines "OFFSET OLD NEW" of FILE tell, or nothing
  hexdump FROM COUNT              print COUNT bytes at FROM in hexadecimal, as xxd does
  line N                          print line N
  lines FROM COUNT                print COUNT lines from line FROM on, as they are
  insert-line N TEXT              make TEXT line N
  delete-lines FROM COUNT         delete COUNT lines from line FROM on
  stats                           print bytes, lines, line ends, longest line

POS is a byte position from 0, decimal or 0x..., "end", or "end-N", N bytes before it; one behind the end is the end.
Lines and columns are counted from 1. COUNT may be "all". A line ends in LF, CR LF or CR.
TEXT, OLD and NEW know \n \r \t \\ \xHH and \x'HH HH ...', bytes as hexadecimal digits; \@FILE is the content of FILE.
-i takes a letter A to Z for its lower case; -w wants no letter or digit before and behind the match.
-E takes OLD or TEXT for a regular expression as Perl has them, and in NEW $0, $1, ${name}, \U \L \E \u \l and \n; with
it, -m lets ^ and $ match at each line, and -u takes the content for UTF-8.
--lines A,B looks only at lines A to B, --range A,B at the bytes from A up to B; B may be "end".
What edits print goes to standard output, or to standard error if the result goes there.

view shows FILE on the terminal, of whatever size and without reading all of it; h tells its keys.

OUT is written beside its old self and takes its place when it is complete. Mode, access control list and attributes
stay, and owner and group where possible. Nobody else can edit it meanwhile.

Exit status: 0 done; 1 a file or an edit failed, OUT is as it was; 2 wrong arguments; 3 the library had to stop.
)";
