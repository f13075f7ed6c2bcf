// The compiled tree reader over arbitrary bytes: no crash, no read outside the data, no leaked
// block, whatever the header, string table, nodes and template bodies say. Every run-time template
// the data defines at the root is instantiated too, so template bodies are read as well.
#include "FuzzCheck.h"

#include "Core/CAllocator.h"
#include "Core/CObject.h"

#include <cstdint>

using namespace kel;

namespace
{

// A class with an attribute handler, so that pending handlers and their errors are exercised.
class CFuzzObject : public CObject
{
public:
    static void registerClass(CClassInfo& info)
    {
        CObject::registerClass(info);
        info.addAttrHandler<CFuzzObject>("mode", &CFuzzObject::attrMode);
    }
    CError* attrMode()
    {
        if (getAttrString("mode") == "fail")
            return KEL_ERROR("@kelstr_Fuzz_attrMode Refused.");
        return nullptr;
    }
};

void registerOnce()
{
    static bool done = false;
    if (done)
        return;
    done = true;
    (void)CObject::getBaseClassInfo();
    // Only classes that touch nothing outside the tree: no timers, files or settings.
    static const CCreatorRow rows[] = {CCreatorRow::of<CObject>("core:object"),
                                       CCreatorRow::of<CFuzzObject>("f")};
    delete CObject::registerCreators(rows, 2);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    registerOnce();
    const int64_t liveBefore = CAllocator::liveBlocks();
    {
        CObject* shared = new CObject();
        CObject::setSharedRoot(shared);
        CObject* root = new CObject();
        delete root->loadFromMemory(data, size, true);
        // Instantiate what the root defines, each under a plain holder.
        const int count = root->getChildCount();
        for (int i = 0; i < count && i < 64; ++i)
        {
            CObject* definition = root->getChild(i);
            if (!definition->isTemplateDefinition())
                continue;
            CObject* made = nullptr;
            delete root->createChild(definition->getName(), "made", made);
        }
        CObject::destroyObject(root);
        CObject::setSharedRoot(nullptr);
        CObject::destroyObject(shared);
    }
    KEL_FUZZ_CHECK(CAllocator::liveBlocks() == liveBefore);
    return 0;
}
