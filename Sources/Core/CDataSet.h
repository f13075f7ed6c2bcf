#pragma once

#include "Core/CCheckedObject.h"
#include "Core/CError.h"

namespace kel
{

class CInputStream;
class COutputStream;
class CString;

// Base of the resource file readers (palettes, image sets, fonts, brush sets): a set of data
// that has one stored form, read from a stream and written back to one. load reads it from a
// named resource, an embedded blob or else a file (CResourceReader), and then prepares it.
// Owned by whoever made it, as a rule the tree node that names the resource; loaded during
// start-up and read-only afterwards. [ui thread]
class CDataSet : public CCheckedObject
{
public:
    CDataSet() = default;
    ~CDataSet() override = default;
    CDataSet(const CDataSet&) = delete;
    CDataSet& operator=(const CDataSet&) = delete;

    // Replaces the contents with the stored form. A short or damaged stream returns its error.
    [[nodiscard]] virtual CError* read(CInputStream& stream) = 0;
    [[nodiscard]] virtual CError* write(COutputStream& stream) const = 0;
    // Runs after a successful read, for what is derived from the stored data. The base does
    // nothing.
    [[nodiscard]] virtual CError* prepare() { return nullptr; }

    // Opens the resource, reads it and prepares it. An error's chain names the resource.
    [[nodiscard]] CError* load(const CString& resourceName);
};

} // namespace kel
