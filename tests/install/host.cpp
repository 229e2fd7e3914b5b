// A host as others write them: derives from VFile, overrides hooks and reads, and uses a bit of everything. Built also
// without run-time type information and without exceptions. Tells the first thing that is wrong by its exit code.
#include "foundation/hsys.h"
#include "hostfile/hfile.h"
#include "hostfile/hfiledir.h"
#include "hostfile/hfilesave.h"
#include "platform/platform.h"
#include "vfile/vfile.h"
#include "vfile/vfile_std.h"
#include "vmem/vmem.h"

#include <cstdlib>
#include <ostream>
#include <sys/wait.h>
#include <unistd.h>
#ifdef __cpp_rtti
#include <typeinfo>
#endif

namespace {

void Check(int what, bool ok) {
    if (!ok) std::exit(what);
}

// Counts its changes, refuses those at the very start, and reads nothing but x.
class Guarded : public VFile {
  public:
    void ReadByte(unsigned char& b) override {
        VFile::ReadByte(b);
        b = 'x';
    }
    using VFile::operator=;
    int changes = 0;

  protected:
    int PreChange(std::int32_t at, std::int32_t oldLen, std::int32_t newLen) const override {
        return changes > 0 && at == 0 ? resNoPermission : VFile::PreChange(at, oldLen, newLen);
    }
    void PostChange(std::int32_t at, std::int32_t oldLen, std::int32_t newLen) override {
        VFile::PostChange(at, oldLen, newLen);
        ++changes;
    }
};

} // namespace

int main(int argc, char** argv) {
    Check(2, argc == 2);
    Guarded g;
    VFile& asBase = static_cast<VFile&>(g) = "one two";
    Check(3, g.res == resDone && g.changes == 1 && g.Length() == 7);
    g.SetPos(0);
    g.Insert("!"); // the hook refuses
    Check(4, g.res == resNoPermission && g.Length() == 7);
    char text[400] = "";
    Check(5, g.LineIndent(0) == 0 && g.ReadLine(text, 3) == 2 && EqualStr(text, "xx")); // through the override
    VFile f('x', 5000), loaded, *plain = &f;
#ifdef __cpp_rtti
    HFile untyped;
    Check(6, dynamic_cast<Guarded*>(&asBase) == &g && !dynamic_cast<Guarded*>(plain));
    Check(7, typeid(*plain) == typeid(VFile) && typeid(asBase) == typeid(Guarded) && typeid(untyped) == typeid(HFile));
#endif
    HFile file;
    Check(8, &asBase != plain && HFile::CreateTempFile(file, text, "host", ".txt", argv[1], false));
    const pid_t child = fork();
    if (child == 0) { // which has the handle, but not the lock
        file.Close();
        _exit(HFile().Open(text));
    }
    int opened = 1;
    Check(13, waitpid(child, &opened, 0) == child && opened == 0);
    file.Close();
    f.Save(text, 1);
    loaded.Load(text, 1);
    Check(9, loaded.res == resDone && f == loaded);
    vfile::StreamBuf buffer(f);
    std::ostream(&buffer) << 12 << std::flush;
    int runs = 0;
    VFileView view(f);
    view.VisitBack(0, MaxLen, [&](const unsigned char*, std::int32_t) { return ++runs > 0; });
    Check(12,
          runs == 5 && vfile::ToString(f, 0, 3) == "12x" && *vfile::Bytes(f).begin() == '1' && view.Find("x", 1) == 2);
    HFileDir scan;
    char found[261] = "";
    Check(10, scan.FindFirst(found, text) && HFile::Remove(text));
    VMem vm;
    std::int32_t adr = -1;
    int value = 0;
    vm.Alloc(adr, 8);
    vm.Set(adr, 12345);
    vm.Get(adr, value);
    Check(11, value == 12345 && MinL(3, 2) == 2 && DescriptorOf(HandleOf(5)) == 5);
}
