#pragma once

#include <cstdint>

// Codes of effVendorSpecific (in `index`) that the host tests' fake plug-in understands.
constexpr int32_t fakeCode(char a, char b, char c, char d)
{
    return (int32_t(a) << 24) | (int32_t(b) << 16) | (int32_t(c) << 8) | int32_t(d);
}

constexpr int32_t kFakeOverrun = fakeCode('o', 'v', 'r', 'n');    // value: words past output 0
constexpr int32_t kFakeUnderrun = fakeCode('u', 'n', 'd', 'r');   // value: write before output 1
constexpr int32_t kFakeWriteInput = fakeCode('i', 'n', 'w', 'r'); // value: write into input 0
constexpr int32_t kFakeSkipLast = fakeCode('s', 'k', 'i', 'p');   // value: leave a frame unwritten
constexpr int32_t kFakeAutomate = fakeCode('a', 'u', 't', 'o');   // value: index, opt: value
constexpr int32_t kFakeIdle = fakeCode('i', 'd', 'l', 'e');       // calls audioMasterIdle
constexpr int32_t kFakeEditIdles = fakeCode('e', 'i', 'd', 'l');  // answers effEditIdle count
constexpr int32_t kFakeTempoMilli = fakeCode('t', 'm', 'p', 'o'); // answers tempo * 1000
constexpr int32_t kFakeProcessLevel = fakeCode('p', 'l', 'v', 'l'); // level seen in process
constexpr int32_t kFakeLastFrames = fakeCode('l', 'f', 'r', 'm');   // frames of last process
constexpr int32_t kFakeInPlaceSeen = fakeCode('i', 'n', 'p', 'l');  // last process was in place
constexpr int32_t kFakeHostName = fakeCode('h', 'o', 's', 't');     // ptr, value: bytes
constexpr int32_t kFakeBlockSizeQuery =
    fakeCode('b', 'l', 'k', 'q'); // asks audioMasterGetBlockSize
