#include "Core/CSystem.h"

#include "Core/CAllocator.h"
#include "Core/CUtf8Path.h"
#include "Core/Platform/CFolderScan.h"

#include <atomic>
#include <cerrno>
#include <cstdio>

namespace kel
{

namespace
{
const char kExplanation[] =
    "An issue has happened when executing Kelmont application.\n"
    "\n"
    "If this issue persists please contact Kelmont support staff as soon as possible. Please "
    "copy the following information to the clipboard by selecting its text and pressing "
    "Ctrl+Insert, and send it via e-mail to support@kelmont.com. Use Shift+Insert to insert "
    "information from the clipboard into your e-mail message.";

void presentOnStandardError(const char* title, const char* explanation, const char* details, void*)
{
    CSystem::writeErrorReport(stderr, title, explanation, details);
}

struct PresenterSlot
{
    std::atomic<CSystem::ErrorPresenter> presenter{nullptr};
    std::atomic<void*> context{nullptr};
    std::atomic<CSystem::ErrorPresenter> fallback{nullptr};
};

PresenterSlot& presenterSlot()
{
    static PresenterSlot slot;
    return slot;
}

bool hasWildcard(const CString& text)
{
    return text.findUnit('*') >= 0 || text.findUnit('?') >= 0;
}
} // namespace

CError* CSystem::sendEvent(CRunLoop* loop, CRunLoop::ClientId target, uint32_t message,
                           intptr_t longParam)
{
    const int error = loop ? loop->post(target, message, longParam) : EINVAL;
    if (error != 0)
        return KEL_ERROR("@kelstr_CSystem_sendEvent_PostMessage Post message error %1.", error);
    return nullptr;
}

CError* CSystem::collectFiles(const CString& path, CArray<CString>& outList)
{
    CString folder = path;
    CString pattern;
    const int slash = path.findLastUnit('/');
    if (hasWildcard(path.substring(slash + 1)))
    {
        folder = slash >= 0 ? path.substring(0, slash > 0 ? slash : 1) : CString(".");
        pattern = path.substring(slash + 1);
    }
    CFolderScan scan;
    const CUtf8Path folderText(folder);
    if (const int error = scan.open(folderText.get()))
        return KEL_ERROR("@kelstr_CSystem_collectFiles_FindFirstError Error %1 while collecting "
                         "files list in '%2' path.",
                         error, path);
    CString name;
    bool isFolder = false;
    for (;;)
    {
        bool hasEntry = false;
        if (const int error = scan.next(name, isFolder, hasEntry))
            return KEL_ERROR("@kelstr_CSystem_collectFiles_FindNextError Error %1 while "
                             "collecting files list in '%2' path.",
                             error, path);
        if (!hasEntry)
            return nullptr;
        if (pattern.isEmpty() || name.matchesWildcard(pattern))
            outList.add(name);
    }
}

void CSystem::showError(CError* error)
{
    if (!error)
        return;
    char local[2048];
    char* heap = nullptr;
    const char* details = local;
    const int needed = error->formatChain(local, static_cast<int>(sizeof(local)));
    if (needed >= static_cast<int>(sizeof(local)))
    {
        heap = static_cast<char*>(CAllocator::alloc(static_cast<size_t>(needed) + 1));
        if (heap)
        {
            error->formatChain(heap, needed + 1);
            details = heap;
        }
    }
    if (details[0] == '\0')
        details = "<no details>";
    PresenterSlot& slot = presenterSlot();
    ErrorPresenter presenter = slot.presenter.load(std::memory_order_acquire);
    ErrorPresenter fallback = slot.fallback.load(std::memory_order_acquire);
    if (presenter)
        presenter(kErrorTitle, kExplanation, details, slot.context.load(std::memory_order_acquire));
    else if (fallback)
        fallback(kErrorTitle, kExplanation, details, nullptr);
    else
        presentOnStandardError(kErrorTitle, kExplanation, details, nullptr);
    CAllocator::free(heap);
    delete error;
}

const char* CSystem::getErrorExplanation()
{
    return kExplanation;
}

void CSystem::writeErrorReport(std::FILE* stream, const char* title, const char* explanation,
                               const char* details)
{
    std::fprintf(stream, "%s\n%s\n\n%s\n", title, explanation, details);
    std::fflush(stream);
}

void CSystem::setFallbackErrorPresenter(ErrorPresenter presenter)
{
    presenterSlot().fallback.store(presenter, std::memory_order_release);
}

void CSystem::setErrorPresenter(ErrorPresenter presenter, void* context)
{
    PresenterSlot& slot = presenterSlot();
    slot.context.store(context, std::memory_order_release);
    slot.presenter.store(presenter, std::memory_order_release);
}

} // namespace kel
