#pragma once

#include "Core/CCheckedObject.h"

#include <cstdint>

// Name of the object an error passes through. Members of CObject shadow this with the object's
// full-name; everywhere else an error frame carries no name.
inline const char* kelErrorContextName()
{
    return nullptr;
}

namespace kel
{

class CString;

// One argument of a keyed message: text, or a number turned to decimal. A CString argument is
// turned to UTF-8; short ones fit in the argument itself, longer ones take a buffer it owns.
class CErrorArg
{
public:
    CErrorArg(const char* value) : text(value ? value : "") {}
    CErrorArg(const CString& value);
    CErrorArg(const CErrorArg& other);
    CErrorArg& operator=(const CErrorArg&) = delete;
    ~CErrorArg();
    CErrorArg(int value) : CErrorArg(static_cast<long long>(value)) {}
    CErrorArg(long value) : CErrorArg(static_cast<long long>(value)) {}
    CErrorArg(long long value);
    CErrorArg(unsigned value) : CErrorArg(static_cast<unsigned long long>(value)) {}
    CErrorArg(unsigned long value) : CErrorArg(static_cast<unsigned long long>(value)) {}
    CErrorArg(unsigned long long value);

    const char* getText() const { return text; }

private:
    const char* text;
    char* ownedText = nullptr;
    char digits[24] = {};
};

// The error object. Every fallible operation returns one (null for success); whoever receives
// it owns it and either passes it up with KEL_CHECK, which adds a frame, or deletes it.
//
// Messages are keyed: "@kelstr_Class_op_Reason Default text %1." The key (without '@') selects a
// translation through the translator hook; the text after the first blank is the default. A
// message without a leading '@' has no key and is kept as it stands. %1 to %6 take the
// arguments. [any thread]
class CError : public CCheckedObject
{
public:
    static constexpr int kMaxArgs = 6;
    using Translator = const char* (*)(const char* key);

    template <typename... Args>
    [[nodiscard]] static CError* create(const char* keyedText, const Args&... args)
    {
        static_assert(sizeof...(Args) <= kMaxArgs, "at most six message arguments");
        const CErrorArg list[] = {CErrorArg(""), CErrorArg(args)...};
        return createFrom(keyedText, list + 1, static_cast<int>(sizeof...(Args)));
    }
    [[nodiscard]] static CError* createFrom(const char* keyedText, const CErrorArg* args,
                                            int count);

    ~CError() override;

    const char* getKey() const { return key; }
    const char* getMessage() const { return message; }
    // The error's number, where a reply across a boundary carries a number: the CRC-32 of its
    // key, so that the same failure has the same number in every build and language; never 0,
    // which means success.
    uint32_t getNumber() const;

    // Appends one level of the chain: where the error passed, and through which object.
    void addFrame(const char* file, int line, const char* fullName);
    // addFrame on an error that may be null; answers the error. Called through KEL_FRAME.
    static CError* withFrame(CError* error, const char* file, int line, const char* fullName)
    {
        if (error)
            error->addFrame(file, line, fullName);
        return error;
    }
    int getFrameCount() const { return frameCount; }
    const char* getFrameFile(int index) const;
    int getFrameLine(int index) const;
    const char* getFrameName(int index) const;

    // The message and one line per frame, as the error window shows it. Answers the length
    // the whole text needs, which may exceed capacity (the output is then cut, terminated).
    int formatChain(char* out, int capacity) const;

    // Translation by key; null restores the default texts. Affects errors created afterwards.
    static void setTranslator(Translator translator);

private:
    struct Frame
    {
        const char* file;
        int line;
        char* name;
    };

    CError() = default;

    char* key = nullptr;
    char* message = nullptr;
    Frame* frames = nullptr;
    int frameCount = 0;
    int frameCapacity = 0;
};

} // namespace kel

// Creates an error at this place, its first frame naming file, line and the current object.
#define KEL_ERROR(...)                                                                             \
    (                                                                                              \
        [&]() -> ::kel::CError*                                                                    \
        {                                                                                          \
            ::kel::CError* kelNewError_ = ::kel::CError::create(__VA_ARGS__);                      \
            kelNewError_->addFrame(__FILE__, __LINE__, kelErrorContextName());                     \
            return kelNewError_;                                                                   \
        }())

// Passes an error up: if expr fails, runs the cleanup statements given after it (none, or
// for instance `delete item`), adds this level's frame and returns the error.
//     KEL_CHECK(readHead(stream));
//     KEL_CHECK(child->readNode(reader), destroyObject(child));
#define KEL_CHECK(expr, ...)                                                                       \
    do                                                                                             \
    {                                                                                              \
        if (::kel::CError* kelError_ = (expr))                                                     \
        {                                                                                          \
            __VA_ARGS__;                                                                           \
            kelError_->addFrame(__FILE__, __LINE__, kelErrorContextName());                        \
            return kelError_;                                                                      \
        }                                                                                          \
    } while (0)

// An error (or null) with this level's frame added, for the places that hand an error on
// rather than return it (to the error window, to a caller's report); KEL_FRAME_AT names the
// level by a text of its own (a resource, a position in a stream) instead of the object.
#define KEL_FRAME(error)                                                                           \
    ::kel::CError::withFrame((error), __FILE__, __LINE__, kelErrorContextName())
#define KEL_FRAME_AT(error, where) ::kel::CError::withFrame((error), __FILE__, __LINE__, (where))
