#pragma once

namespace kel
{

class CString;

// Lists the entries of one folder, "." and ".." left out, in the order the system gives them.
// Operations answer 0 or the system's error number. Owns its open listing and closes it when
// destroyed. One thread at a time. [any thread; blocking I/O, never on the audio thread]
class CFolderScan
{
public:
    CFolderScan() = default;
    ~CFolderScan();
    CFolderScan(const CFolderScan&) = delete;
    CFolderScan& operator=(const CFolderScan&) = delete;

    int open(const char* utf8Path);
    // The next entry's name (UTF-8 decoded) and whether it is a folder; outHasEntry false at
    // the end of the listing.
    int next(CString& outName, bool& outIsFolder, bool& outHasEntry);
    void close();

private:
    void* listing = nullptr;
};

} // namespace kel
