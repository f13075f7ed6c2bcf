#pragma once

#include "Audio/CAudioParamCreators.h"
#include "Audio/CAudioProcessCreators.h"
#include "Core/CError.h"
#include "Core/CObject.h"
#include "Core/CResourceTable.h"
#include "ProductResources.h"
#include "Support/CErrorText.h"
#include "Support/CTreeBlobWriter.h"
#include "Support/CUtf8.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace kel
{
namespace processtest
{

// The creators of the parameter and graph classes, once per test program.
inline void ensureCreators()
{
    if (!CObject::hasCreator(CString("audio:cvt-gain")))
    {
        ASSERT_EQ(test::CErrorText::takeMessage(registerAudioParamCreators()), "");
    }
    ASSERT_EQ(test::CErrorText::takeMessage(registerAudioProcessCreators()), "");
}

// A shared tree installed as the shared root for the life of the object: the product's own
// (the embedded SharedData.xml) or one built by the test.
class CSharedTree
{
public:
    CSharedTree() = default;
    ~CSharedTree()
    {
        if (!tree)
            return;
        CObject::setSharedRoot(previous);
        CObject::destroyObject(tree);
    }
    CSharedTree(const CSharedTree&) = delete;
    CSharedTree& operator=(const CSharedTree&) = delete;

    // Loads the product's tree; the error text, empty on success.
    std::string loadProduct()
    {
        for (const CResourceEntry* row = resources::kResourceTable; row->data; ++row)
        {
            if (std::strcmp(row->name, "SharedData.xml") == 0)
                return load(row->data + 4, CResourceTable::blobSize(row->data));
        }
        return "no embedded SharedData.xml";
    }

    std::string load(const CTreeBlobWriter::Node& root)
    {
        blob = CTreeBlobWriter::write(root);
        return load(blob.data(), blob.size());
    }

    CObject* get() const { return tree; }
    template <class T> T* find(const char* path) const
    {
        return dynamic_cast<T*>(tree->findObject(CString(path)));
    }

private:
    std::string load(const uint8_t* data, size_t size)
    {
        ensureCreators();
        previous = CObject::getSharedRoot();
        tree = new CObject();
        CObject::setSharedRoot(tree);
        return test::CErrorText::takeMessage(tree->loadFromMemory(data, size, true));
    }

    CObject* tree = nullptr;
    CObject* previous = nullptr;
    std::vector<uint8_t> blob;
};

} // namespace processtest
} // namespace kel
