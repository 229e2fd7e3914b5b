// How many pages may be moved before their time. Internal.
#pragma once

namespace vfile_internal {

// An account of pages that are moved early, along with one that is due, so that a call of the system moves many.
//
// A page that is due earns an eighth of a page. A page that is moved early costs one, which comes back when it turns
// out to be due. So of n pages that are due, n + n / 8 + Most are moved at worst: over any 147 or more, less than twice
// as many as without. What goes well pays for itself, and is never short of credit.
class Credit {
  public:
    static constexpr int Most = 128;

    int Pages() const { return eighths / 8; } // that may be moved early now
    void Due() { Add(1); }
    void Early(int pages) { eighths -= 8 * pages; } // at most Pages()
    void CameDue() { Add(9); }

  private:
    void Add(int n) { eighths = eighths + n < 8 * Most ? eighths + n : 8 * Most; }
    int eighths = 8 * Most;
};

} // namespace vfile_internal
