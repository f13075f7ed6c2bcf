// Showing a folder in the file dialog: a folder of 10,000 bank files (and a few others the filter
// drops) is listed, sorted and laid out as the dialog's list in its font, in no more than 100 ms.
#if defined(KEL_BENCH_UI_RESOURCES)

#include "Audio/VST/CAudioWrapperVST.h"
#include "Core/CApplication.h"
#include "Core/CObject.h"
#include "Core/CUtf8Path.h"
#include "Core/Platform/CFile.h"
#include "Core/Platform/CFolder.h"
#include "UI/Rendering/CTextWrapper.h"
#include "UI/Resources/CFontObject.h"
#include "UI/Windows/CFileDialog.h"

#include <benchmark/benchmark.h>

#include <cstdio>

namespace
{

constexpr int kFileCount = 10000;

// The folder below /tmp with the files, made for the run and removed after it.
class CBenchFolder
{
public:
    CBenchFolder()
    {
        kel::CFolder::makeTemporarySibling(kel::CString("/tmp/kel-bench-file-dialog"), path);
        const kel::CUtf8Path folder(path);
        if (kel::CFolder::createWithParents(folder.get()) != 0)
            return;
        char name[64];
        for (int i = 0; i < kFileCount + 20; ++i)
        {
            // Mixed case, so that the sort has to fold; every 500th file is no bank.
            std::snprintf(name, sizeof name, "%s %05d.%s", (i % 3) ? "bank" : "Bank",
                          (i * 7919) % 100000, i >= kFileCount ? "txt" : "cbf");
            kel::CFile file;
            const kel::CUtf8Path filePath(kel::CFileDialog::joinPath(path, kel::CString(name)));
            if (file.openForWriting(filePath.get(), false) != 0)
                return;
            names.add(kel::CString(name));
        }
        isMade = true;
    }
    ~CBenchFolder()
    {
        for (const kel::CString& name : names)
        {
            const kel::CUtf8Path filePath(kel::CFileDialog::joinPath(path, name));
            kel::CFolder::removeFile(filePath.get());
        }
        const kel::CUtf8Path folder(path);
        kel::CFolder::removeFolder(folder.get());
    }

    kel::CString path;
    kel::CArray<kel::CString> names;
    bool isMade = false;
};

void listFolder(benchmark::State& state)
{
    kel::CAudioWrapperVST::startApplication();
    kel::CObject* shared = kel::CApplication::getSharedObject();
    auto* family =
        shared ? dynamic_cast<kel::CFontObject*>(shared->findObject(kel::CString("fnt.small")))
               : nullptr;
    kel::CError* error = family ? family->loadNow() : nullptr;
    kel::CTextWrapper wrapper;
    if (!error && family)
        error = wrapper.setFontObject(family);
    if (!family || error)
    {
        delete error;
        state.SkipWithError("no font family fnt.small in the shared tree");
        return;
    }
    wrapper.setMarkup(false);
    wrapper.setParagraphSpacing(0);
    wrapper.setWidth(360);

    static CBenchFolder folder;
    if (!folder.isMade)
    {
        state.SkipWithError("the folder of files could not be made in /tmp");
        return;
    }
    kel::CArray<kel::CString> folders;
    kel::CArray<kel::CString> files;
    kel::CString text;
    for (auto _ : state)
    {
        if (kel::CFileDialog::listFolder(folder.path, kel::CString("cbf"), folders, files) != 0)
        {
            state.SkipWithError("the folder could not be listed");
            return;
        }
        // The list's text as the dialog's list view makes it: "..", then one line per file.
        text = kel::CString("../");
        for (const kel::CString& name : files)
        {
            text.appendUnit('\n');
            text.append(name);
        }
        wrapper.setText(text);
        wrapper.layout();
        benchmark::DoNotOptimize(wrapper.getLineCount());
    }
    if (files.getCount() != kFileCount)
        state.SkipWithError("the filter let other files through");
}
BENCHMARK(listFolder)
    ->Name("ui/file_dialog_list_10000")
    ->Unit(benchmark::kMillisecond)
    ->Iterations(10);

} // namespace

#endif
