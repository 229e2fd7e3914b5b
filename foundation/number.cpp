// Numbers: families per type, conversions, words and bytes.
#include "foundation/number.h"

#include "foundation/halt.h"

// The families. Each body is the definition itself; a template would hide the one thing that matters, which argument
// comes back when the comparison of doubles fails.

int Max(int a, int b) {
    return a > b ? a : b;
}
std::int32_t MaxL(std::int32_t a, std::int32_t b) {
    return a > b ? a : b;
}
std::int16_t MaxS(std::int16_t a, std::int16_t b) {
    return a > b ? a : b;
}
std::int64_t MaxQ(std::int64_t a, std::int64_t b) {
    return a > b ? a : b;
}
double MaxR(double a, double b) {
    return a > b ? a : b;
}

int Min(int a, int b) {
    return a < b ? a : b;
}
std::int32_t MinL(std::int32_t a, std::int32_t b) {
    return a < b ? a : b;
}
std::int16_t MinS(std::int16_t a, std::int16_t b) {
    return a < b ? a : b;
}
std::int64_t MinQ(std::int64_t a, std::int64_t b) {
    return a < b ? a : b;
}
double MinR(double a, double b) {
    return a < b ? a : b;
}

int Sign(int x) {
    return x > 0 ? 1 : x < 0 ? -1 : 0;
}
std::int32_t SignL(std::int32_t x) {
    return x > 0 ? 1 : x < 0 ? -1 : 0;
}
std::int16_t SignS(std::int16_t x) {
    return static_cast<std::int16_t>(x > 0 ? 1 : x < 0 ? -1 : 0);
}
std::int64_t SignQ(std::int64_t x) {
    return x > 0 ? 1 : x < 0 ? -1 : 0;
}
double SignR(double x) {
    return x > 0 ? 1.0 : x < 0 ? -1.0 : 0.0;
}

std::int32_t Long(int v) {
    return v;
}
std::int32_t LongC(unsigned int v) {
    return static_cast<std::int32_t>(v);
}
unsigned int Card(int v) {
    return static_cast<unsigned int>(v);
}
int Int(unsigned int v) {
    return static_cast<int>(v);
}
double LongFloat(std::int32_t v) {
    return v;
}

std::int32_t LongTrunc(double x) {
    if (x < 0) return -LongTrunc(-x);
    if (x > 2147483647.0) return 2147483647;
    return x >= 0 ? static_cast<std::int32_t>(x) : 0; // the conversion truncates; a NaN fails every test
}

std::int16_t Short(std::int32_t v) {
    if (v >= 0 && HI(v) != 0) Fatal("HSys", 1);
    if (v < 0 && HI(v) != 0xFFFF) Fatal("HSys", 2);
    return static_cast<std::int16_t>(LO(v));
}

std::uint16_t ShortC(std::int32_t v) {
    if (HI(v) != 0) Fatal("HSys", 3);
    return LO(v);
}

std::uint16_t LO(std::int32_t v) {
    return static_cast<std::uint16_t>(v);
}
std::uint16_t HI(std::int32_t v) {
    return static_cast<std::uint16_t>(static_cast<std::uint32_t>(v) >> 16);
}

void Short2(std::int32_t v, std::uint16_t& hi, std::uint16_t& lo) {
    hi = HI(v);
    lo = LO(v);
}

std::int32_t Long2(std::uint16_t hi, std::uint16_t lo) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(hi) << 16 | lo);
}

void Extract4(int v, char& b3, char& b2, char& b1, char& b0) {
    Extract2(static_cast<std::int16_t>(HI(v)), b3, b2);
    Extract2(static_cast<std::int16_t>(LO(v)), b1, b0);
}

int Build4(char b3, char b2, char b1, char b0) {
    return Long2(static_cast<std::uint16_t>(Build2(b3, b2)), static_cast<std::uint16_t>(Build2(b1, b0)));
}

void Extract2(std::int16_t v, char& hi, char& lo) {
    hi = static_cast<char>(static_cast<std::uint16_t>(v) >> 8);
    lo = static_cast<char>(v);
}

std::int16_t Build2(char hi, char lo) {
    return static_cast<std::int16_t>(static_cast<unsigned char>(hi) << 8 | static_cast<unsigned char>(lo));
}
