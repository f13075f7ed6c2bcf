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
    if (error)
    {
        // An embedded blob's read error would otherwise not say which resource was damaged.
        const CUtf8Path name(resourceName);
        error->addFrame(__FILE__, __LINE__, name.get());
    }
    return error;
}

} // namespace kel
