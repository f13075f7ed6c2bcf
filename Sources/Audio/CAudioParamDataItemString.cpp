#include "Audio/CAudioParamDataItemString.h"

#include "Core/CInputStream.h"
#include "Core/COutputStream.h"

namespace kel
{

CAudioParamDataItem* CAudioParamDataItemString::clone() const
{
    return new CAudioParamDataItemString(text);
}

CError* CAudioParamDataItemString::load(CInputStream& stream)
{
    KEL_CHECK(stream.readString(text));
    return nullptr;
}

CError* CAudioParamDataItemString::save(COutputStream& stream) const
{
    KEL_CHECK(stream.writeString(text));
    return nullptr;
}

} // namespace kel
