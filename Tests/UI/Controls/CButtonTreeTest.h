#pragma once

// A headless window whose tree carries the product's button templates, compiled from
// Resources/Interface/Buttons.xml as the build compiles them, with the fonts, palettes and
// image sets of the shared tree; and pointer input sent through the window's event path.
#include "Audio/CAudioCreators.h"
#include "CCompiledNode.h"
#include "CTreeCompiler.h"
#include "Core/CApplication.h"
#include "Core/Platform/CRunLoop.h"
#include "ProductResources.h"
#include "Support/CErrorText.h"
#include "UI/CUiCreators.h"
#include "UI/Resources/CUiScale.h"
#include "UI/Views/CViewBase.h"
#include "UI/Windows/CSharedTreeTest.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace kel::test
{

class CButtonTreeTest : public CSharedTreeTest
{
protected:
    // The templates of Buttons.xml, as children of parent.
    static void addButtonTemplates(CTreeBlobWriter::Node& parent)
    {
        CTreeCompiler compiler;
        CCompiledNode compiled;
        CError* error = compiler.compile(
            std::string(KEL_SOURCE_DIR) + "/Resources/Interface/Buttons.xml", compiled);
        ASSERT_EQ(error, nullptr) << CErrorText::takeChain(error);
        copyChildren(compiled, parent);
    }

    // The tree "ui" with the shared window data, the templates, what before adds, and a root
    // view "ui.win" of width by height in which views flow left to right; answers the root
    // view's node.
    CTreeBlobWriter::Node&
    makeWindowTree(CTreeBlobWriter::Node& tree, int width, int height,
                   const std::function<void(CTreeBlobWriter::Node& ui)>& before = nullptr)
    {
        CTreeBlobWriter::Node& win = addWindow(tree, width, height,
                                               [&](CTreeBlobWriter::Node& ui)
                                               {
                                                   addButtonTemplates(ui);
                                                   if (before)
                                                       before(ui);
                                               });
        win.attr("spread", "L4");
        return win;
    }

    template <class T> T* find(const std::string& path) const
    {
        T* found = dynamic_cast<T*>(root->findObject(CString(path.c_str())));
        EXPECT_NE(found, nullptr) << path;
        return found;
    }

    void inject(CNativeWindow::CInputEvent event)
    {
        display.inject(screen, event);
        display.pump();
    }
    void moveTo(int x, int y)
    {
        CNativeWindow::CInputEvent event;
        event.kind = CNativeWindow::CInputEvent::kMouseMove;
        event.x = x;
        event.y = y;
        inject(event);
    }
    void button(int x, int y, bool isDown, int which = 1)
    {
        CNativeWindow::CInputEvent event;
        event.kind = CNativeWindow::CInputEvent::kMouseButton;
        event.x = x;
        event.y = y;
        event.button = which;
        event.isDown = isDown;
        // Far apart, so that no two presses make a double click.
        timeMs += 1000;
        event.timeMs = timeMs;
        inject(event);
    }
    static int centerX(const CViewBase* view)
    {
        const CLinearBitmap::Rect area = view->getViewRect();
        return (area.left + area.right) / 2;
    }
    static int centerY(const CViewBase* view)
    {
        const CLinearBitmap::Rect area = view->getViewRect();
        return (area.top + area.bottom) / 2;
    }
    // Over the view, a press and a release there.
    void click(const CViewBase* view, int which = 1)
    {
        moveTo(centerX(view), centerY(view));
        button(centerX(view), centerY(view), true, which);
        button(centerX(view), centerY(view), false, which);
    }

    uint32_t timeMs = 0;

private:
    static void copyChildren(const CCompiledNode& from, CTreeBlobWriter::Node& to)
    {
        for (const CCompiledNode& child : from.children)
        {
            if (child.isTemplate)
            {
                CTreeBlobWriter::Node& body = to.addTemplate(child.name, child.classTag);
                body.attrs = child.children.front().attrs;
                copyChildren(child.children.front(), body);
                continue;
            }
            CTreeBlobWriter::Node& node = to.add(child.tag, child.name);
            node.attrs = child.attrs;
            copyChildren(child, node);
        }
    }
};

} // namespace kel::test
