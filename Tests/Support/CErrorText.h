#pragma once

#include <string>

namespace kel
{
class CError;
}

namespace kel::test
{

// What a test reads of a framework error. Each call takes the error's ownership and deletes it;
// a null error (success) reads as "", so `EXPECT_EQ(CErrorText::takeMessage(call()), "")` both
// checks a call and disposes of what it answered.
class CErrorText
{
public:
    // The message, translated and with its arguments filled in.
    static std::string takeMessage(CError* error);
    // The key of a keyed message, without the '@' ("" for a message without a key).
    static std::string takeKey(CError* error);
    // The message and one line per frame of its chain, as the error window shows it: for
    // failure output, where it tells where the error passed.
    static std::string takeChain(CError* error);
};

} // namespace kel::test
