// A host as others write them: derives from VFile, overrides hooks and reads, and uses a bit of everything. Built also
// without run-time type information and without exceptions. Prints what is wrong.
#include "foundation/hsys.h"
#include "hostfile/hfile.h"
#include "hostfile/hfiledir.h"
#include "platform/platform.h"
#include "vfile/vfile.h"
#include "vmem/vmem.h"

#include <cstdio>
#include <cstring>
#ifdef __cpp_rtti
#include <typeinfo>
#endif

namespace {

int failures = 0;

void Check(bool ok, const char* what) {
    if (ok) return;
    std::printf("wrong: %s\n", what);
    ++failures;
}

// Counts its changes, refuses those at the very start, and reads in capitals.
class Guarded : public VFile {
  public:
    void ReadByte(unsigned char& b) override {
        VFile::ReadByte(b);
        if (b >= 'a' && b <= 'z') b = static_cast<unsigned char>(b - 'a' + 'A');
    }
    using VFile::operator=;
    int changes = 0;
    bool guarding = false;

  protected:
    int PreChange(std::int32_t p, std::int32_t oldLen, std::int32_t newLen) const override {
        return guarding && p == 0 ? resNoPermission : VFile::PreChange(p, oldLen, newLen);
    }
    void PostChange(std::int32_t p, std::int32_t oldLen, std::int32_t newLen) override {
        VFile::PostChange(p, oldLen, newLen);
        ++changes;
    }
};

void Derived() {
    Guarded g;
    g.Append("one\ntwo\n");
    Check(g.res == resDone && g.changes == 1 && g.Length() == 8, "a change and its hook");
    g.guarding = true;
    g.SetPos(0);
    g.Insert("!");
    Check(g.res == resNoPermission && g.Length() == 8, "a change that the hook refuses");
    char line[20] = "";
    g.ReadLine(line, sizeof line);
    Check(std::strcmp(line, "ONE") == 0, "the library reads through the override");
}

void TypesAcrossTheBorder() {
#ifdef __cpp_rtti
    Guarded g;
    VFile plain;
    VFile& back = static_cast<VFile&>(g) = "text";
    Check(dynamic_cast<Guarded*>(&back) == &g, "dynamic_cast to the derived class");
    VFile* none = &plain;
    Check(dynamic_cast<Guarded*>(none) == nullptr, "dynamic_cast of another class");
    Check(typeid(*none) == typeid(VFile) && typeid(back) == typeid(Guarded), "typeid");
    HFile file;
    Check(typeid(file) == typeid(HFile), "typeid of a host file");
#endif
}

void Rest(const char* dir) {
    HFile file;
    char name[400] = "";
    Check(HFile::CreateTempFile(file, name, "host", ".txt", dir, false), "a temporary file");
    file.Close();
    VFile f('x', 5000), g;
    f.Save(name, 1);
    g.Load(name, 1);
    Check(g.res == resDone && f == g, "a file written and loaded");
    HFileDir scan;
    char found[261] = "";
    Check(scan.FindFirst(found, name), "a scan");
    Check(HFile::Remove(name), "a file removed");
    static VMem vm;
    std::int32_t adr = -1;
    long long value = 0;
    vm.Alloc(adr, 8);
    vm.Set(adr, 1234567890123LL);
    vm.Get(adr, value);
    vm.Dealloc(adr, 8);
    Check(value == 1234567890123LL && adr == -1, "scratch memory");
    Check(MinL(3, 2) == 2 && DescriptorOf(HandleOf(5)) == 5, "helpers");
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    Derived();
    TypesAcrossTheBorder();
    Rest(argv[1]);
    return failures == 0 ? 0 : 1;
}
