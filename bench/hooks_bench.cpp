// A VFile with hooks, as of an editor that redraws after each change: what it costs beyond the hooks.
#include "view_rows.h"

namespace {

class Hooked : public VFile {
    int PreChange(std::int32_t, std::int32_t, std::int32_t) const override {
        ++asked;
        return resDone;
    }
    void PostChange(std::int32_t at, std::int32_t oldLen, std::int32_t newLen) override {
        ++told;
        VFile::PostChange(at, oldLen, newLen);
    }
    mutable long asked = 0;
    long told = 0;
};

using Content = bench::FileContent<Hooked>;

} // namespace

int main(int argc, char** argv) {
    return bench::Main(argc, argv,
                       {bench::EditRows<Content>(),
                        bench::ViewRows<Content>(),
                        {{"find", bench::Search<Content, &Content::Find>, ""},
                         {"findfold", bench::Search<Content, &Content::FindFolded>, ""},
                         {"replace", bench::ReplaceWords<Content>, ""},
                         {"linestart", bench::LineStart<Content>, ""},
                         {"load", bench::Load<Content>, ""},
                         {"save", bench::Save<Content>, ""}}});
}
