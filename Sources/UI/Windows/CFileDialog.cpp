#include "UI/Windows/CFileDialog.h"

#include "Core/CDebugChannel.h"
#include "Core/CLocalData.h"
#include "Core/CUtf8Path.h"
#include "Core/Platform/CFolder.h"
#include "Core/Platform/CFolderScan.h"
#include "UI/Controls/CTextView.h"
#include "UI/Lists/CValueList.h"
#include "UI/Windows/CWindow.h"

#include <algorithm>
#include <cstdlib>

namespace kel
{

namespace
{

const char* const kListPath = ".body.list-area.list";
const char* const kNamePath = ".name-row.name";

bool lessNoCase(const CString& a, const CString& b)
{
    const int order = a.compareNoCase(b);
    return order != 0 ? order < 0 : a.compare(b) < 0;
}

// The folder path without a trailing '/', the root kept as "/".
CString trimFolder(const CString& path)
{
    CString out = path;
    while (out.getLength() > 1 && out.getUnit(out.getLength() - 1) == '/')
        out.erase(out.getLength() - 1);
    return out;
}

} // namespace

void CFileDialog::registerClass(CClassInfo& info)
{
    CWindowDrag::registerClass(info);
    info.addEventProc<CFileDialog>("file-dialog-up", &CFileDialog::onUp);
    info.addEventProc<CFileDialog>("file-dialog-home", &CFileDialog::onHome);
    info.addEventProc<CFileDialog>("file-dialog-data", &CFileDialog::onData);
    info.addEventProc<CFileDialog>("file-dialog-ok", &CFileDialog::onOk);
    info.addEventProc<CFileDialog>("file-dialog-cancel", &CFileDialog::onCancel);
    info.addEventProc<CFileDialog>("file-dialog-replace", &CFileDialog::onReplaceConfirmed);
    info.addEventProc<CFileDialog>("file-dialog-entry-selected", &CFileDialog::onEntrySelected);
    info.addEventProc<CFileDialog>("file-dialog-entry-dbl-clicked",
                                   &CFileDialog::onEntryDoubleClicked);
    info.addEventProc<CFileDialog>("file-dialog-name-edited", &CFileDialog::onNameEdited);
}

CError* CFileDialog::initChilds()
{
    KEL_CHECK(CWindowDrag::initChilds());
    const CString mode = getAttrString(CString("mode"), CString());
    if (mode != CString("load") && mode != CString("save"))
        return KEL_ERROR("@kelstr_CFileDialog_handleEvent_InvalidMode Invalid file dialog mode.");
    saveMode = mode == CString("save");
    extension = getAttrString(CString("extension"), CString());
    KEL_CHECK(findObjectChecked(CString(".entries"), entries));
    KEL_CHECK(findObjectChecked(CString(kListPath), list));
    // Names are shown as the system has them: a '[' in a name is no mark-up.
    list->getWrapper().setMarkup(false);
    KEL_CHECK(listenObject(CString(kListPath), CString("selected-paragraph-changed"),
                           CString("file-dialog-entry-selected")));
    KEL_CHECK(listenObject(CString(kListPath), CString("paragraph-dbl-clicked"),
                           CString("file-dialog-entry-dbl-clicked")));
    KEL_CHECK(listenObject(CString(kNamePath), CString("editbox-text-changed"),
                           CString("file-dialog-name-edited")));

    KEL_CHECK(setChildTitle(".title-bar.title", CString(saveMode ? "Save file" : "Load file")));
    CString filter = getAttrString(CString("filter-name"), CString());
    filter.append(" (*.");
    filter.append(extension.isEmpty() ? CString("*") : extension);
    filter.append(")");
    KEL_CHECK(setChildTitle(".buttons.filter", filter));
    KEL_CHECK(setChildTitle(
        kNamePath, saveMode ? getAttrString(CString("filename-prefix"), CString()) : CString()));
    KEL_CHECK(showStartFolder());
    return nullptr;
}

void CFileDialog::detachLinks()
{
    entries = nullptr;
    list = nullptr;
    CWindowDrag::detachLinks();
}

CError* CFileDialog::onCtlEvent(const CString& eventName, CAttrMap& params)
{
    if (eventName == CString("window-create"))
        if (CWindow* window = findWindow())
            KEL_CHECK(window->setAttr(CString("is-drop-down-behavior-disabled"), CAttrValue(true)));
    KEL_CHECK(CWindowDrag::onCtlEvent(eventName, params));
    return nullptr;
}

// ---- the listing ----

int CFileDialog::listFolder(const CString& folderPath, const CString& fileExtension,
                            CArray<CString>& outFolders, CArray<CString>& outFiles)
{
    outFolders.clear();
    outFiles.clear();
    CString suffix(".");
    suffix.append(fileExtension);
    CFolderScan scan;
    const CUtf8Path path(folderPath);
    if (const int error = scan.open(path.get()))
        return error;
    CString name;
    for (;;)
    {
        bool isFolder = false;
        bool hasEntry = false;
        if (const int error = scan.next(name, isFolder, hasEntry))
        {
            outFolders.clear();
            outFiles.clear();
            return error;
        }
        if (!hasEntry)
            break;
        // Hidden entries (a leading dot) are not offered, as users of file choosers expect.
        if (name.getLength() > 0 && name.getUnit(0) == '.')
            continue;
        if (isFolder)
            outFolders.add(name);
        else if (fileExtension.isEmpty() ||
                 (name.getLength() > suffix.getLength() &&
                  name.substring(name.getLength() - suffix.getLength()).equalsNoCase(suffix)))
            outFiles.add(name);
    }
    std::sort(outFolders.begin(), outFolders.end(), lessNoCase);
    std::sort(outFiles.begin(), outFiles.end(), lessNoCase);
    return 0;
}

CString CFileDialog::getParentFolder(const CString& folderPath)
{
    const CString trimmed = trimFolder(folderPath);
    const int slash = trimmed.findLastUnit('/');
    return slash > 0 ? trimmed.substring(0, slash) : CString("/");
}

CString CFileDialog::joinPath(const CString& folderPath, const CString& name)
{
    CString out = trimFolder(folderPath);
    if (out.isEmpty() || out.getUnit(out.getLength() - 1) != '/')
        out.appendUnit('/');
    out.append(name);
    return out;
}

CString CFileDialog::getFileName() const
{
    const CObject* field = findObject(CString(kNamePath));
    return field ? field->getAttrString(CString("title"), CString()) : CString();
}

CError* CFileDialog::showFolder(const CString& path, bool* outShown)
{
    if (outShown)
        *outShown = false;
    const CString target = trimFolder(path);
    CArray<CString> folders;
    CArray<CString> files;
    if (const int error = listFolder(target, extension, folders, files))
    {
        // The message in the user's language, through the catalogue.
        CError* text = KEL_ERROR("@kelstr_CFileDialog_showFolder_CannotRead The folder '%1' "
                                 "cannot be read (error %2).",
                                 target, error);
        const CString message(text->getMessage());
        delete text;
        return setStatus(message);
    }
    folder = target;
    entryNames.clear();
    CArray<CString> titles;
    CArray<double> values;
    const int count = folders.getCount() + files.getCount() + 1;
    entryNames.reserve(count);
    titles.reserve(count);
    values.reserve(count);
    if (folder != CString("/"))
    {
        entryNames.add(CString(".."));
        titles.add(CString("../"));
    }
    for (const CString& folderName : folders)
    {
        entryNames.add(folderName);
        CString title = folderName;
        title.appendUnit('/');
        titles.add(title);
    }
    folderEntryCount = entryNames.getCount();
    for (const CString& fileName : files)
    {
        entryNames.add(fileName);
        titles.add(fileName);
    }
    for (int i = 0; i < titles.getCount(); ++i)
        values.add(static_cast<double>(i));

    KEL_CHECK(list->setAttr(CString("selected-paragraph"), CAttrValue(static_cast<int32_t>(-1))));
    KEL_CHECK(entries->setItems(titles, values, false));
    // The list view is as long as its text; the area scrolls over it from the top.
    CViewBase* area = dynamic_cast<CViewBase*>(list->getParent());
    if (area)
    {
        KEL_CHECK(
            area->setAttr(CString("scroller-height"),
                          CAttrValue(static_cast<double>(list->getWrapper().getTextHeight()))));
        if (CViewArea* scrolled = area->getArea())
            scrolled->setScrollOffset(0.0, 0.0);
    }
    KEL_CHECK(setChildTitle(".places.folder", folder));
    KEL_CHECK(setStatus(CString()));
    if (outShown)
        *outShown = true;
    return nullptr;
}

CError* CFileDialog::showStartFolder()
{
    CString remembered;
    if (CError* error = CLocalData::get().readString(CString(kFolderItem), remembered))
    {
        // A damaged item only costs the remembered place.
        KEL_LOG("Remembered folder not read");
        delete error;
        remembered.clear();
    }
    bool shown = false;
    if (!remembered.isEmpty())
    {
        const CUtf8Path path(remembered);
        if (CFolder::isFolder(path.get()))
            KEL_CHECK(showFolder(remembered, &shown));
    }
    if (!shown)
    {
        const char* home = std::getenv("HOME");
        if (home && home[0] != '\0')
            KEL_CHECK(showFolder(CString::fromUtf8(home), &shown));
    }
    if (!shown)
        KEL_CHECK(showFolder(CString("/"), &shown));
    return nullptr;
}

// ---- choosing ----

CError* CFileDialog::activateEntry(int index)
{
    if (index < 0 || index >= entryNames.getCount())
        return nullptr;
    if (index < folderEntryCount)
    {
        const CString& entry = entryNames[index];
        return showFolder(entry == CString("..") ? getParentFolder(folder)
                                                 : joinPath(folder, entry));
    }
    KEL_CHECK(setChildTitle(kNamePath, entryNames[index]));
    return choose();
}

CError* CFileDialog::choose()
{
    CString fileName = getFileName();
    if (fileName.isEmpty())
        return setStatus(CString("Choose a file or type its name."));
    if (fileName.findUnit('/') >= 0)
        return setStatus(CString("A file name cannot hold '/'."));
    CString suffix(".");
    suffix.append(extension);
    if (saveMode && !extension.isEmpty() &&
        !(fileName.getLength() > suffix.getLength() &&
          fileName.substring(fileName.getLength() - suffix.getLength()).equalsNoCase(suffix)))
        fileName.append(suffix);
    const CString path = joinPath(folder, fileName);
    const CUtf8Path utf8(path);
    if (CFolder::isFolder(utf8.get()))
        return showFolder(path);
    const bool exists = CFolder::exists(utf8.get());
    if (!saveMode)
    {
        if (!exists && !extension.isEmpty() && fileName.findLastUnit('.') <= 0)
        {
            // A name typed without its extension, as the list shows none but the filter's.
            const CString withSuffix = fileName + suffix;
            const CUtf8Path completed(joinPath(folder, withSuffix));
            if (CFolder::exists(completed.get()) && !CFolder::isFolder(completed.get()))
                return deliver(joinPath(folder, withSuffix), withSuffix);
        }
        if (!exists)
            return setStatus(CString("The file '") + fileName + CString("' is not there."));
        return deliver(path, fileName);
    }
    if (!exists)
        return deliver(path, fileName);
    // Saving over a file: only once the user says so.
    pendingPath = path;
    pendingName = fileName;
    CAttrMap params;
    params.set(CString("popup-tag"), CAttrValue("ui:win-confirmation"));
    params.set(CString("title"), CAttrValue("Replace file?"));
    params.set(CString("message"),
               CAttrValue(CString("'") + fileName + CString("' already exists. Replace it?")));
    params.set(CString("confirm-event"), CAttrValue("file-dialog-replace"));
    params.set(CString("confirm-target"), CAttrValue(getFullName()));
    params.set(CString("window-alignment"), CAttrValue("center"));
    KEL_CHECK(callEventProc(CString("popup-toggle"), params));
    return nullptr;
}

CError* CFileDialog::deliver(const CString& path, const CString& fileName)
{
    CAttrMap params;
    params.set(CString("path"), CAttrValue(path));
    params.set(CString("filename"), CAttrValue(fileName));
    const int dot = fileName.findLastUnit('.');
    params.set(CString("extension"), CAttrValue(dot > 0 ? fileName.substring(dot + 1) : CString()));
    KEL_CHECK(CLocalData::get().writeString(CString(kFolderItem), folder));

    const CString eventName = getAttrString(CString("result-event"), CString());
    const CString targetPath = getAttrString(CString("result-target"), CString());
    CObject* target = targetPath.isEmpty() ? nullptr : findObject(targetPath);
    if (!eventName.isEmpty() && !target)
    {
        const CUtf8Path text(targetPath);
        KEL_LOG("Target not found: '%s'", text.get());
    }
    else if (!eventName.isEmpty())
    {
        params.set(CString("sender"), CAttrValue(getFullName()));
        params.set(CString("event-name"), CAttrValue(eventName));
        bool isFound = false;
        KEL_CHECK(target->callEventProc(eventName, params, &isFound));
        // A view without a procedure of that name answers with its commands, as with run-event.
        auto* targetView = dynamic_cast<CViewBaseState*>(target);
        if (!isFound && targetView)
            KEL_CHECK(targetView->runCommands(eventName, params));
    }
    // Last: without an event bridge the window's end releases this dialog at once.
    return closeWindow();
}

CError* CFileDialog::cancel()
{
    return closeWindow();
}

CError* CFileDialog::closeWindow()
{
    CWindow* window = findWindow();
    if (!window)
        return nullptr;
    const CAttrMap none;
    KEL_CHECK(window->callEventProc(CString("popup-close"), none));
    return nullptr;
}

CError* CFileDialog::setChildTitle(const char* path, const CString& text)
{
    CObject* child = nullptr;
    KEL_CHECK(findObjectChecked(CString(path), child));
    KEL_CHECK(child->setAttr(CString("title"), CAttrValue(text)));
    return nullptr;
}

CError* CFileDialog::setStatus(const CString& text)
{
    status = text;
    return setChildTitle(".status", text);
}

// ---- event procedures ----

CError* CFileDialog::onUp(const CAttrMap& /*params*/)
{
    if (folder == CString("/"))
        return nullptr;
    return showFolder(getParentFolder(folder));
}

CError* CFileDialog::onHome(const CAttrMap& /*params*/)
{
    const char* home = std::getenv("HOME");
    if (!home || home[0] == '\0')
        return setStatus(CString("No home folder is known."));
    return showFolder(CString::fromUtf8(home));
}

CError* CFileDialog::onData(const CAttrMap& /*params*/)
{
    const CString dataFolder = CLocalData::get().getUserFolder();
    if (dataFolder.isEmpty())
        return setStatus(CString("The plug-in has no data folder."));
    // Made on the way: nothing may have been stored there yet.
    const CUtf8Path path(dataFolder);
    CFolder::createWithParents(path.get());
    return showFolder(dataFolder);
}

CError* CFileDialog::onOk(const CAttrMap& /*params*/)
{
    return choose();
}

CError* CFileDialog::onCancel(const CAttrMap& /*params*/)
{
    return cancel();
}

CError* CFileDialog::onReplaceConfirmed(const CAttrMap& /*params*/)
{
    if (pendingPath.isEmpty())
        return nullptr;
    const CString path = pendingPath;
    const CString fileName = pendingName;
    pendingPath.clear();
    pendingName.clear();
    return deliver(path, fileName);
}

CError* CFileDialog::onEntrySelected(const CAttrMap& params)
{
    const int index = getParamInt(params, "index", -1);
    if (index >= folderEntryCount && index < entryNames.getCount())
        KEL_CHECK(setChildTitle(kNamePath, entryNames[index]));
    return nullptr;
}

CError* CFileDialog::onEntryDoubleClicked(const CAttrMap& params)
{
    return activateEntry(getParamInt(params, "index", -1));
}

CError* CFileDialog::onNameEdited(const CAttrMap& params)
{
    // Return in the name field is OK; an edit ended otherwise (a press elsewhere, Tab) only
    // leaves the name there.
    if (getParamBool(params, "is-return") && !getParamBool(params, "is-cancelled"))
        return choose();
    return nullptr;
}

} // namespace kel
