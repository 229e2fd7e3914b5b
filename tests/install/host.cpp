// A host as others write them: derives from VFile, overrides hooks and reads, and uses a bit of everything. Built also
// without run-time type information and without exceptions. Tells the first thing that is wrong by its exit code.
#include "foundation/hsys.h"
#include "hostfile/hfile.h"
#include "hostfile/hfiledir.h"
#include "platform/platform.h"
#include "vfile/vfile.h"
#include "vmem/vmem.h"

#include <cstdlib>
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
    void ReadByte(unsigned char& b) override { VFile::ReadByte(b), b = 'x'; }
    using VFile::operator=;
    int changes = 0;

  protected:
    int PreChange(std::int32_t p, std::int32_t oldLen, std::int32_t newLen) const override {
        return changes > 0 && p == 0 ? resNoPermission : VFile::PreChange(p, oldLen, newLen);
    }
    void PostChange(std::int32_t p, std::int32_t oldLen, std::int32_t newLen) override {
        VFile::PostChange(p, oldLen, newLen);
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
    file.Close();
    f.Save(text, 1);
    loaded.Load(text, 1);
    Check(9, loaded.res == resDone && f == loaded);
    HFileDir scan;
    char found[261] = "";
    Check(10, scan.FindFirst(found, text) && HFile::Remove(text));
    static VMem vm;
    std::int32_t adr = -1;
    int value = 0;
    vm.Alloc(adr, 8);
    vm.Set(adr, 12345);
    vm.Get(adr, value);
    Check(11, value == 12345 && MinL(3, 2) == 2 && DescriptorOf(HandleOf(5)) == 5);
}
