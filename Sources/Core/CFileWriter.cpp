#include "Core/CFileWriter.h"

#include "Core/CDebugChannel.h"
#include "Core/CString.h"
#include "Core/CUtf8Path.h"
#include "Core/Platform/CFolder.h"

#include <cstring>

namespace kel
{

CFileWriter::~CFileWriter()
{
    if (CError* error = close())
    {
        KEL_LOG("%s", error->getMessage());
        delete error;
    }
    CAllocator::free(name);
}

namespace
{
char* copyText(const char* text)
{
    const size_t length = std::strlen(text);
    char* copy = static_cast<char*>(CAllocator::alloc(length + 1));
    if (copy)
        std::memcpy(copy, text, length + 1);
    return copy;
}
} // namespace

void CFileWriter::setName(const char* utf8Path)
{
    CAllocator::free(name);
    name = copyText(utf8Path);
}

CError* CFileWriter::open(const char* utf8Path, bool isAppending, int flags)
{
    KEL_CHECK(close());
    setName(utf8Path ? utf8Path : "");
    if (const int code = file.openForWriting(getName(), isAppending))
        return KEL_ERROR("@kelstr_CFileWriter_open_Error Unable to open file '%1' for %2 (error "
                         "%3, flags %4).",
                         getName(), isAppending ? "appending" : "rewriting", code, flags);
    return nullptr;
}

CError* CFileWriter::open(const CString& path, bool isAppending, int flags)
{
    const CUtf8Path utf8(path);
    KEL_CHECK(open(utf8.get(), isAppending, flags));
    return nullptr;
}

CError* CFileWriter::openReplacing(const CString& path)
{
    KEL_CHECK(close());
    CString temporary;
    CFolder::makeTemporarySibling(path, temporary);
    KEL_CHECK(open(temporary, false));
    const CUtf8Path target(path);
    replaced = copyText(target.get());
    return nullptr;
}

CError* CFileWriter::commit()
{
    // Taken aside first, so that close keeps the file.
    char* target = replaced;
    replaced = nullptr;
    CError* error = flush();
    if (CError* closing = close())
    {
        if (error)
            delete closing; // the first failure is the one to tell
        else
            error = closing;
    }
    if (!error && target)
    {
        if (const int code = CFolder::rename(getName(), target))
            error = KEL_ERROR("@kelstr_CFileWriter_commit_Replace Unable to replace '%1' (error "
                              "%2).",
                              target, code);
    }
    if (error && target)
        (void)CFolder::removeFile(getName());
    CAllocator::free(target);
    return error;
}

CError* CFileWriter::flush()
{
    if (const int code = file.flush())
        return KEL_ERROR("@kelstr_CFileWriter_flush_Error Unable to flush data to file '%1' (error "
                         "%2).",
                         getName(), code);
    return nullptr;
}

CError* CFileWriter::close()
{
    const int code = file.close();
    if (replaced)
    {
        // Never committed: what was written is not the file the caller meant to leave.
        (void)CFolder::removeFile(getName());
        CAllocator::free(replaced);
        replaced = nullptr;
    }
    if (code)
        return KEL_ERROR("@kelstr_CFileWriter_close_Error Unable to close file '%1' after writing "
                         "(error %2).",
                         getName(), code);
    return nullptr;
}

CError* CFileWriter::write(const void* buffer, size_t count)
{
    size_t written = 0;
    if (const int code = file.write(buffer, count, written))
        return KEL_ERROR("@kelstr_CFileWriter_write_WriteError Unable to write to file '%1' (error "
                         "%2).",
                         getName(), code);
    if (written != count)
        return KEL_ERROR("@kelstr_CFileWriter_write_WriteErrorCount Unable to write to file '%1' "
                         "(required %2 bytes, written %3 bytes).",
                         getName(), static_cast<unsigned long long>(count),
                         static_cast<unsigned long long>(written));
    return nullptr;
}

CError* CFileWriter::getPosition(int64_t& outPosition)
{
    if (const int code = file.getPosition(outPosition))
        return KEL_ERROR("@kelstr_CFileWriter_getPosition_Error Unable to get file writing "
                         "position for file '%1' (error %2).",
                         getName(), code);
    return nullptr;
}

CError* CFileWriter::setPosition(int64_t position)
{
    if (const int code = file.setPosition(position))
        return KEL_ERROR("@kelstr_CFileWriter_setPosition_Error Unable to set file writing "
                         "position for file '%1' (error %2).",
                         getName(), code);
    return nullptr;
}

CError* CFileWriter::getSize(int64_t& outSize)
{
    if (const int code = file.getSize(outSize))
        return KEL_ERROR("@kelstr_CFileWriter_getSize_Error Unable to get file size of file '%1' "
                         "(error %2).",
                         getName(), code);
    return nullptr;
}

} // namespace kel
