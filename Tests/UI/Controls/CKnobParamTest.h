#pragma once

// A parameter test whose windows draw knobs from the shared tree. Its pictures, palette and face
// load on first use and then live as long as the tree: loaded before the test, they are part of
// the fixture's count of live blocks.
#include "Core/CDataSetObject.h"
#include "UI/Params/CParamTestFixture.h"
#include "UI/Resources/CFontObject.h"

namespace kel::paramtest
{

class CKnobParamTest : public CParamTest
{
protected:
    void SetUp() override
    {
        CParamTest::SetUp();
        const int64_t unloaded = CAllocator::liveBlocks();
        for (const char* path :
             {"shared::is.knob", "shared::is.frame", "shared::pal.Default", "shared::fnt.micro"})
        {
            CObject* found = CObject::getSharedRoot()->findObject(CString(path));
            if (auto* dataSet = dynamic_cast<CDataSetObject*>(found);
                dataSet && !dataSet->isLoaded())
            {
                EXPECT_EQ(test::CErrorText::takeMessage(dataSet->loadNow()), "") << path;
            }
            if (auto* font = dynamic_cast<CFontObject*>(found); font && !font->isLoaded())
            {
                EXPECT_EQ(test::CErrorText::takeMessage(font->loadNow()), "") << path;
            }
        }
        liveBefore += CAllocator::liveBlocks() - unloaded;
    }
};

} // namespace kel::paramtest
