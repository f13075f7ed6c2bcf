#pragma once

#include "Core/CCheckedObject.h"
#include "Core/CString.h"
#include "Core/CTreeStringTable.h"

#include <cstdint>

namespace kel
{

// Where the body of a run-time template lies: the class tag of what it makes, and the bytes of its
// one node inside the compiled tree, kept alive by a reference to the tree's string table. Owned
// by the template definition object. [set-up thread]
class CTemplateDef : public CCheckedObject
{
public:
    CTemplateDef(CTreeStringTable* table, const CString& tagOfClass, const uint8_t* bodyBytes,
                 uint32_t bodyBytesCount)
        : strings(table), classTag(tagOfClass), body(bodyBytes), bodySize(bodyBytesCount)
    {
        strings->addRef();
    }
    ~CTemplateDef() override { strings->release(); }
    CTemplateDef(const CTemplateDef&) = delete;
    CTemplateDef& operator=(const CTemplateDef&) = delete;

    CTreeStringTable* const strings;
    const CString classTag;
    const uint8_t* const body;
    const uint32_t bodySize;
};

} // namespace kel
