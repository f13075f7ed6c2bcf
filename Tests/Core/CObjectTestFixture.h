#pragma once

#include "Core/CAllocator.h"
#include "Core/CCoreCreators.h"
#include "Core/CDebugChannel.h"
#include "Core/CObject.h"
#include "Support/CTreeBlobWriter.h"
#include "Support/CUtf8.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kel
{
namespace objecttest
{

// What the test classes saw, in order.
inline std::vector<std::string>& journal()
{
    static std::vector<std::string> lines;
    return lines;
}

// A class with a creator row: counts constructions, journals its handler calls, its detachLinks
// and its destruction, and knows an event procedure.
class CCountingObject : public CObject
{
public:
    static int& constructed()
    {
        static int count = 0;
        return count;
    }

    CCountingObject() { ++constructed(); }
    ~CCountingObject() override { journal().push_back("delete " + test::CUtf8::of(getName())); }

    static void registerClass(CClassInfo& info)
    {
        CObject::registerClass(info);
        info.addAttrHandler<CCountingObject>("mode", &CCountingObject::attrMode);
        info.addAttrHandler<CCountingObject>("level", &CCountingObject::attrLevel);
        info.addEventProc<CCountingObject>("ping", &CCountingObject::onPing);
    }

    void detachLinks() override
    {
        journal().push_back("detach " + test::CUtf8::of(getName()));
        CObject::detachLinks();
    }

    CError* attrMode()
    {
        const CString mode = getAttrString("mode");
        journal().push_back("mode=" + test::CUtf8::of(mode) + " state " +
                            std::to_string(getState()));
        if (mode == "fail")
            return KEL_ERROR("@kelstr_Test_attrMode Mode refused.");
        return nullptr;
    }
    CError* attrLevel()
    {
        journal().push_back("level=" + test::CUtf8::of(getAttrString("level")));
        return nullptr;
    }
    CError* onPing() { return nullptr; }
};

// Another class, for casts that must fail.
class COtherObject : public CObject
{
public:
    static void registerClass(CClassInfo& info) { CObject::registerClass(info); }
};

class CObjectTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        (void)CObject::getBaseClassInfo();
        channelWasOn = CDebugChannel::isEnabled();
        CDebugChannel::setEnabled(true);
        CDebugChannel::setSink(
            [](const char* line, void* context)
            { static_cast<std::vector<std::string>*>(context)->push_back(line); },
            &logLines);
        liveBefore = CAllocator::liveBlocks();
        const CCreatorRow rows[] = {
            CCreatorRow::of<CCountingObject>("test:counting"),
            CCreatorRow::of<COtherObject>("test:other"),
        };
        ASSERT_EQ(CObject::registerCreators(rows, 2), nullptr);
        ownsCoreRows = !CObject::hasCreator("core:object");
        if (ownsCoreRows)
        {
            ASSERT_EQ(CCoreCreators::registerAll(), nullptr);
        }
        shared = new CObject();
        CObject::setSharedRoot(shared);
        journal().clear();
        CCountingObject::constructed() = 0;
    }

    void TearDown() override
    {
        CObject::destroyObject(root);
        CObject::setSharedRoot(nullptr);
        CObject::destroyObject(shared);
        CObject::unregisterCreator("test:counting");
        CObject::unregisterCreator("test:other");
        for (int i = 0; ownsCoreRows && i < CCoreCreators::getRowCount(); ++i)
            CObject::unregisterCreator(CCoreCreators::getRows()[i].tag);
        blobs.clear();
        EXPECT_EQ(CAllocator::liveBlocks(), liveBefore) << "framework blocks left behind";
        CDebugChannel::setSink(nullptr, nullptr);
        CDebugChannel::setEnabled(channelWasOn);
    }

    // Loads node into a new root (kept as root) and answers the load's error.
    CError* load(const CTreeBlobWriter::Node& node, CObject* target = nullptr)
    {
        blobs.push_back(CTreeBlobWriter::write(node));
        if (!target)
        {
            CObject::destroyObject(root);
            root = target = new CObject();
        }
        return target->loadFromMemory(blobs.back().data(), blobs.back().size(), true);
    }

    bool logged(const std::string& line) const
    {
        for (const std::string& entry : logLines)
        {
            if (entry == line)
                return true;
        }
        return false;
    }

    CObject* shared = nullptr;
    CObject* root = nullptr;
    std::vector<std::vector<uint8_t>> blobs;
    std::vector<std::string> logLines;
    int64_t liveBefore = 0;
    bool channelWasOn = false;
    bool ownsCoreRows = false;
};

} // namespace objecttest
} // namespace kel
