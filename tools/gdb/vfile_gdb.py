# Printers of VFile, VMem and HFile for gdb, and the command vfile-dump. To be loaded by: source tools/gdb/vfile_gdb.py
#
#   (gdb) print text                VFile len 2358 pos 1041 res 0 (done) = {content = "...", blocks = {...}}
#   (gdb) print *text.content->chain.vm  VMem topAdr 4096 cache 3 of 3953 = {...}
#   (gdb) print file                HFile fd 5 res 14 (not found)
#   (gdb) vfile-dump text all       what DumpVFile or DumpVMem of the library prints; needs a live process
#
# The printers only read memory: they work on a core file, too, call nothing and change nothing. They need the debug
# information of the library: a compiler puts that of a class with virtual operations where the class is made, so a host's
# own is not enough, unless it is compiled with -femit-class-debug-always (g++) or -fstandalone-debug (clang++). The
# content and the pages then need that of the library still.
import gdb
import gdb.printing
import gdb.types

BLOCK_SIZE = 1024
CONTENT_SHOWN = 200  # bytes of a content

RESULTS = (
    "done", "not done", "call error", "context error", "read only", "heap overflow", "already exists", "already open",
    "illegal drive", "illegal path", "illegal name", "illegal file", "unknown drive", "unknown path", "not found",
    "disk full", "too long", "no permission", "not supported", "not implemented", "too many files", "device off",
    "disk parity error", "hardware error", "network error")

FLAGS = ((0x001, "vfInsert"), (0x002, "vfReadOnly"), (0x008, "vfModified"), (0x020, "vfTrackModified"),
         (0x080, "vfNoEolCheck"), (0x100, "vfEolCheck"), (0x200, "vfLocked"), (0x400, "vfHasEol"))


def result_text(res):
    number = int(res)
    words = RESULTS[number] if 0 <= number < len(RESULTS) else "unknown error code"
    return "res %d (%s)" % (number, words)


def read_memory(pointer, count):
    return bytes(gdb.selected_inferior().read_memory(int(pointer), count))


def cached_page(vm, adr):
    """The page of a VMem that holds the address, None if it is not in RAM. gdb.error without the library's types."""
    cache = vm["memory"].dereference()["cache"]
    page = cache["chains"][adr // BLOCK_SIZE % int(cache["chainCount"])]
    while int(page) != 0:
        if int(page["adr"]) == adr // BLOCK_SIZE * BLOCK_SIZE:
            return page
        page = page["chainNext"]
    return None


class VFilePrinter:
    def __init__(self, value):
        self.value = value
        self.inside = value["content"].dereference()

    def to_string(self):
        f = self.value
        text = "VFile len %d pos %d %s" % (int(f["len"]), int(f["pos"]), result_text(f["res"]))
        if f["eof"]:
            text += " eof"
        flags = int(f["flags"])
        names = [name for bit, name in FLAGS if flags & bit]
        if flags & ~sum(bit for bit, name in FLAGS):
            names.append("0x%x" % (flags & ~sum(bit for bit, name in FLAGS)))
        if names:
            text += " flags " + "|".join(names)
        return text

    def blocks(self):
        block = self.inside["chain"]["first"]
        while int(block) != 0:
            yield block
            block = block["next"]

    def block_bytes(self, block, count):
        """The first bytes of a block, or why they can't be shown."""
        if int(block) == int(self.inside["bufBlk"]):
            return read_memory(self.inside["buf"], count), None
        try:
            page = cached_page(self.inside["chain"]["vm"].dereference(), int(block["adr"]))
        except gdb.error:
            return None, "the rest needs the library's debug information"
        if page is None:
            return None, "the rest is in the swap file"
        return read_memory(page["data"], count), None

    def content(self):
        shown = b""
        note = None
        for block in self.blocks():
            room = CONTENT_SHOWN - len(shown)
            if room == 0:
                break
            if int(block["len"]) == 0:
                continue
            piece, note = self.block_bytes(block, min(room, int(block["len"])))
            if note:
                break
            shown += piece
        text = '"' + "".join(self.escaped(b) for b in shown) + '"'
        if note:
            return text + " (" + note + ")"
        return text + "..." if len(shown) < int(self.value["len"]) else text

    @staticmethod
    def escaped(byte):
        simple = {9: "\\t", 10: "\\n", 13: "\\r", 34: '\\"', 92: "\\\\"}
        return simple.get(byte) or (chr(byte) if 32 <= byte < 127 else "\\%03o" % byte)

    def children(self):
        try:
            current = int(self.inside["cur"]["ptr"])
        except gdb.error:
            yield "content", "(needs the library's debug information)"
            return
        yield "content", self.content()
        start = 0
        for number, block in enumerate(self.blocks()):
            mark = ", current, cur.ix %d" % int(self.inside["cur"]["ix"]) if int(block) == current else ""
            yield "block %d" % number, ("{start %d, len %d, adr %d%s}" % (
                start, int(block["len"]), int(block["adr"]), mark))
            start += int(block["len"])
            if number == 49 and int(block["next"]) != 0:
                yield "block 50", "..."
                break


class VMemPrinter:
    def __init__(self, value):
        self.value = value
        self.rooms = value["memory"].dereference()

    def to_string(self):
        try:
            swap, cache, space = self.rooms["file"], self.rooms["cache"], self.rooms["allocator"]
        except gdb.error:
            return "VMem (need the library's debug information)"
        name = swap["name"].string(errors="replace") if int(swap["name"]) != 0 else "none"
        return "VMem topAdr %d cache %d of %d pages, swap file %s, %d bytes" % (
            int(space["topAdr"]), int(cache["cacheCount"]), int(cache["maxCacheCount"]), name, int(swap["fileSize"]))

    def children(self):
        try:
            yield "free pages", str(int(self.rooms["allocator"]["freePages"]["count"]))
            page = self.rooms["cache"]["cacheHead"]
        except gdb.error:
            return
        number = 0
        while int(page) != 0:
            if number == 50:
                yield "page 50", "..."
                return
            yield "page %d" % number, ("{adr %d%s}" % (
                int(page["adr"]), ", dirty" if page["dirty"] else ""))
            page = page["next"]
            number += 1


class HFilePrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        f = self.value
        handle = int(f["handle"].cast(gdb.lookup_type("long")))
        # Above the descriptor the platform layer keeps marks of its own.
        descriptor = handle & (0x7FFFFFFF if f["handle"].type.sizeof > 4 else 0xFFFFFFF)
        text = "HFile closed" if handle == -1 else "HFile fd %d" % descriptor
        text += " " + result_text(f["res"])
        if f["eof"]:
            text += " eof"
        if int(f["heldBack"]) >= 0:
            text += " one byte held back"
        return text


class DumpCommand(gdb.Command):
    """vfile-dump EXPRESSION [all]: the dump of a VFile's chain or of a VMem's cache, on the program's standard error.
Calls the library's own DumpVFile or DumpVMem in the program; all shows every block or page, not only 50 of them."""

    def __init__(self):
        super().__init__("vfile-dump", gdb.COMMAND_DATA, gdb.COMPLETE_EXPRESSION)

    def invoke(self, argument, from_tty):
        everything = argument.endswith(" all")
        expression = argument[:-4] if everything else argument
        value = gdb.parse_and_eval(expression)
        if value.type.strip_typedefs().code in (gdb.TYPE_CODE_REF, gdb.TYPE_CODE_RVALUE_REF):
            value = value.referenced_value()
        if value.type.strip_typedefs().code == gdb.TYPE_CODE_PTR:
            value = value.dereference()
        vmem = value.type.unqualified().strip_typedefs().name == "VMem"
        # By address and with a type of our own: so the call needs no debug information, neither here nor there.
        gdb.parse_and_eval("((void (*)(void*, void*, bool))%s)((void*)%d, *(void**)&stderr, %d)" % (
            "'vfile_internal::DumpVMem(VMem const&, _IO_FILE*, bool)'" if vmem else
            "'vfile_internal::DumpVFile(VFile const&, _IO_FILE*, bool)'", int(value.address), everything))


class UnknownPrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return "%s at 0x%x (its fields need the library's debug information)" % (
            gdb.types.get_basic_type(self.value.type).name, int(self.value.address))


def known(printer):
    return lambda value: printer(value) if gdb.types.get_basic_type(value.type).fields() else UnknownPrinter(value)


def build_printers():
    printers = gdb.printing.RegexpCollectionPrettyPrinter("vfile")
    printers.add_printer("VFile", "^VFile$", known(VFilePrinter))
    printers.add_printer("VMem", "^VMem$", known(VMemPrinter))
    printers.add_printer("HFile", "^HFile$", known(HFilePrinter))
    return printers


gdb.printing.register_pretty_printer(gdb.current_objfile(), build_printers(), replace=True)
DumpCommand()
