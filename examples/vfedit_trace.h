// Where a content differs from what it was: stretches of the old one, and what stands in their place.
#pragma once

#include <cstddef>
#include <cstdint>

// Stretches come in their order, and bytes that are the same lie between two.
struct Stretch {
    std::int32_t old; // position in the old content
    std::int32_t oldLength;
    std::int32_t now; // position in the new one
    std::int32_t length;
};

class Trace {
  public:
    explicit Trace(std::int32_t length) : oldTotal(length), total(length) {}
    ~Trace();
    Trace(const Trace&) = delete;
    Trace& operator=(const Trace&) = delete;

    // At this place so many bytes have given way to `n`. Going on from one place to the next takes no time.
    void Changed(std::int32_t at, std::int32_t oldLength, std::int32_t n);

    // Goes to the start, to read stretches.
    void Rewind();
    bool Next(Stretch& stretch);

    bool Failed() const { return failed; } // no memory: stretches are missing

  private:
    // A stack. Those before the latest change lie in one, those after it in another, which counts from the end of both
    // contents, so that a change leaves them as they are.
    struct Stack {
        Stretch* all = nullptr;
        std::size_t count = 0;
        std::size_t room = 0;
    };
    bool Push(Stack& stack, const Stretch& s);
    Stretch Turned(const Stretch& s) const;

    Stack before, behind;
    std::int32_t oldTotal;
    std::int32_t total;
    bool failed = false;
};
