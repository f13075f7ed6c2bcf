#pragma once

namespace kel
{

class CString;

// Folders of the file system, by UTF-8 path: creation with parents, renaming, removal, and the
// places where per-user and machine-wide application data live. Every operation answers 0 or the
// system's error number and does nothing else, as CFile does; the callers turn numbers into
// messages. Entries of a folder are listed by CFolderScan.
// [any thread; blocking I/O, never on the audio thread]
class CFolder
{
public:
    // One folder whose parent exists. A folder already there is no failure; a file of that
    // name is ENOTDIR.
    static int create(const char* utf8Path);
    // The folder and every missing folder above it.
    static int createWithParents(const char* utf8Path);
    // An empty folder.
    static int removeFolder(const char* utf8Path);
    static int removeFile(const char* utf8Path);
    // Moves a file or a folder. An existing file at the new path is replaced in one step: a
    // reader sees either the old file or the new one, never a part.
    static int rename(const char* fromUtf8Path, const char* toUtf8Path);
    static bool exists(const char* utf8Path);
    // A name beside path that no other thread or process of the machine picks at the same time,
    // for a file that is written and then renamed over path.
    static void makeTemporarySibling(const CString& path, CString& out);
    static bool isFolder(const char* utf8Path);

    // The base folder of the user's application data, without a trailing '/':
    // $XDG_DATA_HOME, or the home folder's .local/share. ENOENT when the user has no home.
    static int getUserDataFolder(CString& out);
    // The base folder of data common to all users: the first entry of $XDG_DATA_DIRS, or
    // /usr/local/share.
    static int getCommonDataFolder(CString& out);
};

} // namespace kel
