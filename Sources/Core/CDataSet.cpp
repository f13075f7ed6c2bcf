#include "Core/CDataSet.h"

#include "Core/CResourceReader.h"
#include "Core/CUtf8Path.h"

namespace kel
{

CError* CDataSet::load(const CString& resourceName)
{
    CResourceReader reader;
    CError* error = reader.open(resourceName);
    if (!error)
        error = read(reader);
    if (!error)
        error = prepare();
    // An embedded blob's read error would otherwise not say which resource was damaged.
    const CUtf8Path name(resourceName);
    return KEL_FRAME_AT(error, name.get());
}

} // namespace kel
