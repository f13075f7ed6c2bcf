#pragma once

// A fixture base for tests of a view tree on the headless screen: it loads the tree, opens the
// display and the window of "ui.win", and takes it all down after the test.
#include "Core/CObject.h"
#include "Support/CErrorText.h"
#include "Support/CTreeBlobWriter.h"
#include "UI/Platform/Headless/CHeadlessDisplay.h"
#include "UI/Platform/Headless/CHeadlessWindow.h"
#include "UI/Windows/CWindow.h"
#include "UI/Windows/CWindowSharedData.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace kel::test
{

class CHeadlessTreeTest : public ::testing::Test
{
protected:
    // The tree has "ui.window-shared-data" and a root view "ui.win" with its "window-renderer".
    void openTree(const CTreeBlobWriter::Node& tree)
    {
        blob = CTreeBlobWriter::write(tree);
        root = new CObject();
        ASSERT_EQ(root->setAttr(CString("ParentWindow"), CAttrValue(static_cast<void*>(&parent))),
                  nullptr);
        CError* error = root->loadFromMemory(blob.data(), blob.size(), true);
        ASSERT_EQ(error, nullptr) << CErrorText::takeChain(error);
        ASSERT_EQ(display.open(), nullptr);
        auto* shared =
            dynamic_cast<CWindowSharedData*>(root->findObject(CString("ui.window-shared-data")));
        ASSERT_NE(shared, nullptr);
        shared->setDisplay(&display);
        window = dynamic_cast<CWindow*>(root->findObject(CString("ui.win.window-renderer")));
        ASSERT_NE(window, nullptr);
        error = window->createWindow();
        ASSERT_EQ(error, nullptr) << CErrorText::takeChain(error);
        screen = dynamic_cast<CHeadlessWindow*>(window->getNativeWindow());
        ASSERT_NE(screen, nullptr);
    }
    void TearDown() override
    {
        CObject::destroyObject(root);
        display.close();
    }

    int parent = 0;
    std::vector<uint8_t> blob;
    CObject* root = nullptr;
    CHeadlessDisplay display;
    CWindow* window = nullptr;
    CHeadlessWindow* screen = nullptr;
};

} // namespace kel::test
