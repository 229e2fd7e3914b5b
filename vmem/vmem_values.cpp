// Values of every type in a VMem: each is one transfer of its bytes.
#include "vmem/vmem.h"

void VMem::Get(Address adr, char& value) {
    Get(adr, &value, sizeof value);
}
void VMem::Get(Address adr, signed char& value) {
    Get(adr, &value, sizeof value);
}
void VMem::Get(Address adr, unsigned char& value) {
    Get(adr, &value, sizeof value);
}
void VMem::Get(Address adr, short& value) {
    Get(adr, &value, sizeof value);
}
void VMem::Get(Address adr, unsigned short& value) {
    Get(adr, &value, sizeof value);
}
void VMem::Get(Address adr, int& value) {
    Get(adr, &value, sizeof value);
}
void VMem::Get(Address adr, unsigned int& value) {
    Get(adr, &value, sizeof value);
}
void VMem::Get(Address adr, long& value) {
    Get(adr, &value, sizeof value);
}
void VMem::Get(Address adr, unsigned long& value) {
    Get(adr, &value, sizeof value);
}
void VMem::Get(Address adr, long long& value) {
    Get(adr, &value, sizeof value);
}
void VMem::Get(Address adr, unsigned long long& value) {
    Get(adr, &value, sizeof value);
}
void VMem::Get(Address adr, float& value) {
    Get(adr, &value, sizeof value);
}
void VMem::Get(Address adr, double& value) {
    Get(adr, &value, sizeof value);
}
void VMem::Get(Address adr, long double& value) {
    double narrow = 0;
    Get(adr, narrow);
    value = narrow;
}
void VMem::Get(Address adr, void*& value) {
    Get(adr, &value, sizeof value);
}

void VMem::Set(Address adr, char value) {
    Set(adr, &value, sizeof value);
}
void VMem::Set(Address adr, signed char value) {
    Set(adr, &value, sizeof value);
}
void VMem::Set(Address adr, unsigned char value) {
    Set(adr, &value, sizeof value);
}
void VMem::Set(Address adr, short value) {
    Set(adr, &value, sizeof value);
}
void VMem::Set(Address adr, unsigned short value) {
    Set(adr, &value, sizeof value);
}
void VMem::Set(Address adr, int value) {
    Set(adr, &value, sizeof value);
}
void VMem::Set(Address adr, unsigned int value) {
    Set(adr, &value, sizeof value);
}
void VMem::Set(Address adr, long value) {
    Set(adr, &value, sizeof value);
}
void VMem::Set(Address adr, unsigned long value) {
    Set(adr, &value, sizeof value);
}
void VMem::Set(Address adr, long long value) {
    Set(adr, &value, sizeof value);
}
void VMem::Set(Address adr, unsigned long long value) {
    Set(adr, &value, sizeof value);
}
void VMem::Set(Address adr, float value) {
    Set(adr, &value, sizeof value);
}
void VMem::Set(Address adr, double value) {
    Set(adr, &value, sizeof value);
}
void VMem::Set(Address adr, long double value) {
    Set(adr, static_cast<double>(value));
}
void VMem::Set(Address adr, void* value) {
    Set(adr, &value, sizeof value);
}
