// Objects at work while the host is told how far it has come.
#include "vfile/long_work.h"

#include "vfile/look.h"

namespace vfile_internal {
namespace {

// Learns of changes of an object, and keeps its buffer from other objects.
class Watch {
  public:
    Watch(const VFile* f, bool& disturbed) : observer{} {
        if (!f) return;
        wasAsking = Content::Of(*f).asking;
        observer.self = &disturbed;
        observer.after = [](void* self, std::int32_t, std::int32_t, std::int32_t) { *static_cast<bool*>(self) = true; };
        observer.gone = [](void* self) { *static_cast<bool*>(self) = true; };
        Observed::Attach(const_cast<VFile&>(*f), observer); // the list is no part of the content
        Content::Of(*f).asking = true;
    }
    ~Watch() {
        if (!observer.subject) return;
        Content::Of(*observer.subject).asking = wasAsking;
        Observed::Detach(observer);
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

  private:
    Observer observer;
    bool wasAsking = false;
};

} // namespace

bool LongWork::Tell() {
    std::optional<KeptPlace> place;
    if (own) place.emplace(*own);
    const Watch first(subjects[0], disturbed);
    const Watch second(subjects[1] == subjects[0] ? nullptr : subjects[1], disturbed);
    wasTold = true;
    const bool on = Meter::Tell();
    return on && !disturbed;
}

} // namespace vfile_internal
