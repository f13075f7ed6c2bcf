#include "CVstLibrary.h"

#include <dlfcn.h>

namespace kel
{

CVstLibrary::~CVstLibrary()
{
    close();
}

CError* CVstLibrary::open(const char* path)
{
    close();
    // RTLD_LOCAL: two plug-ins (or two builds of one) must not resolve each other's symbols.
    int flags = RTLD_NOW | RTLD_LOCAL;
#if defined(KEL_SANITIZED)
    // Keep the code mapped after dlclose, so that a leak report can still name its frames.
    flags |= RTLD_NODELETE;
#endif
    handle = dlopen(path, flags);
    if (!handle)
    {
        const char* reason = dlerror();
        return KEL_ERROR("@kelstr_CVstLibrary_open_LoadFailed Cannot load '%1': %2", path,
                         reason ? reason : "unknown reason");
    }
    static const char* const kEntryNames[] = {"VSTPluginMain", "main"};
    for (const char* name : kEntryNames)
    {
        if (void* symbol = dlsym(handle, name))
        {
            entry = reinterpret_cast<VstEntryProc>(symbol);
            entryName = name;
            return nullptr;
        }
    }
    close();
    return KEL_ERROR("@kelstr_CVstLibrary_open_NoEntry '%1' exports no plug-in entry point.", path);
}

void CVstLibrary::close()
{
    if (handle)
        dlclose(handle);
    handle = nullptr;
    entry = nullptr;
    entryName = "";
}

} // namespace kel
