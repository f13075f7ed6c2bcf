// The text wrapper over the shared tree's fonts, image sets and palette, as the plug-in embeds
// them. Every render is compared pixel for pixel with one drawn here glyph by glyph, at positions
// worked out from the faces' advances and line metrics.
#include "UI/Rendering/CTextWrapper.h"

#include "Audio/CAudioCreators.h"
#include "Core/CAllocator.h"
#include "Core/CApplication.h"
#include "Core/CObject.h"
#include "Core/CResourceTable.h"
#include "Core/Platform/CThisThread.h"
#include "ProductResources.h"
#include "Support/CErrorText.h"
#include "UI/CUiCreators.h"
#include "UI/Resources/CColor.h"
#include "UI/Resources/CFont.h"
#include "UI/Resources/CFontObject.h"
#include "UI/Resources/CImage.h"
#include "UI/Resources/CImageLayer.h"
#include "UI/Resources/CImageSet.h"
#include "UI/Resources/CImageSetObject.h"
#include "UI/Resources/CPalette.h"
#include "UI/Resources/CPaletteObject.h"
#include "UI/Resources/CUiScale.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

using namespace kel;

namespace
{

constexpr int kWidth = 160;
constexpr int kHeight = 64;
// The text's top left corner in the bitmap.
constexpr int kOriginX = 3;
constexpr int kOriginY = 2;

struct ScaleCase
{
    double scale;
    int lineHeight; // 14 scaled, rounded half away from zero
    int lineBelow;  // 3 scaled
};
const ScaleCase kScales[] = {{0.8, 11, 2}, {1.0, 14, 3}, {1.25, 18, 4}};

int roundHalfUp(double value)
{
    return static_cast<int>(value + 0.5);
}

class CTextWrapperTest : public testing::Test
{
protected:
    void SetUp() override
    {
        CApplication::shutdown();
        CApplication::addCreatorRegistration(&CAudioCreators::registerAll);
        CApplication::addCreatorRegistration(&CUiCreators::registerAll);
        previous = CResourceTable::getInstalled();
        CApplication::init(resources::kResourceTable, "SharedData.xml");
        CObject* shared = CApplication::getSharedObject();
        ASSERT_NE(shared, nullptr);
        base = dynamic_cast<CFontObject*>(shared->findObject(CString("fnt.base")));
        button = dynamic_cast<CImageSetObject*>(shared->findObject(CString("is.button")));
        auto* scheme = dynamic_cast<CPaletteObject*>(shared->findObject(CString("pal.Default")));
        ASSERT_NE(base, nullptr);
        ASSERT_NE(button, nullptr);
        ASSERT_NE(scheme, nullptr);
        ASSERT_EQ(test::CErrorText::takeChain(scheme->loadNow()), "");
        palette = scheme->getPalette();
        normal.setFlat(250, 250, 250);
        first.setFlat(240, 20, 20);
        second.setFlat(20, 230, 40);
    }
    void TearDown() override
    {
        wrapper.reset();
        CUiScale::set(1.0);
        CApplication::shutdown();
        CResourceTable::install(previous);
    }

    // The faces and images at a scale, read again, and a new wrapper over them.
    void useScale(double scale)
    {
        CUiScale::set(scale);
        ASSERT_EQ(test::CErrorText::takeChain(base->loadNow()), "");
        ASSERT_EQ(test::CErrorText::takeChain(button->loadNow()), "");
        wrapper = std::make_unique<CTextWrapper>();
        ASSERT_EQ(test::CErrorText::takeChain(wrapper->setFontObject(base)), "");
        wrapper->setPalette(palette);
    }

    std::vector<uint32_t> render(const CString& text)
    {
        wrapper->setText(text);
        CLinearBitmap bitmap;
        EXPECT_EQ(bitmap.resize(kWidth, kHeight), nullptr);
        wrapper->draw(bitmap, kOriginX, kOriginY, CLinearBitmap::Rect{0, 0, kWidth, kHeight},
                      &normal, &first, &second);
        return pixels(bitmap);
    }
    std::vector<uint32_t> render(const char* utf8) { return render(CString::fromUtf8(utf8)); }

    static std::vector<uint32_t> pixels(const CLinearBitmap& bitmap)
    {
        return std::vector<uint32_t>(bitmap.getPixels(),
                                     bitmap.getPixels() + bitmap.getWidth() * bitmap.getHeight());
    }

    // The bitmap the expectations are drawn into.
    struct Expected
    {
        Expected() { EXPECT_EQ(bitmap.resize(kWidth, kHeight), nullptr); }
        CLinearBitmap bitmap;
    };
    void drawImage(Expected& out, const CImage* image, int x, int y, const CColor* color)
    {
        ASSERT_NE(image, nullptr);
        for (int i = 0; i < image->getLayerCount(); ++i)
            out.bitmap.drawLayer(*image->getLayer(i), kOriginX + x, kOriginY + y,
                                 CLinearBitmap::Rect{0, 0, kWidth, kHeight}, color, 1.0);
    }
    void drawGlyph(Expected& out, CFontObject::Style style, int code, int x, int baseline,
                   const CColor* color = nullptr)
    {
        drawImage(out, face(style)->getGlyph(code), x, baseline, color ? color : &normal);
    }
    const CFont* face(CFontObject::Style style) { return base->getFont(style); }
    double advance(CFontObject::Style style, int code)
    {
        return face(style)->getGlyph(code)->getLayer(0)->getAdvance();
    }
    double advance(const char* text)
    {
        double pen = 0.0;
        for (const char* c = text; *c; ++c)
            pen += advance(CFontObject::kRegular, *c);
        return pen;
    }
    const CImage* buttonImage(const char* range)
    {
        CImageSet::Range found;
        EXPECT_TRUE(button->getImageSet()->findRange(CString(range), found)) << range;
        return button->getImageSet()->getImage(found.first);
    }

    CFontObject* base = nullptr;
    CImageSetObject* button = nullptr;
    const CPalette* palette = nullptr;
    CColor normal;
    CColor first;
    CColor second;
    std::unique_ptr<CTextWrapper> wrapper;
    const CResourceEntry* previous = nullptr;
};

} // namespace

TEST_F(CTextWrapperTest, BoldLetterPictureBetweenLettersAndATagAloneAtEveryScale)
{
    for (const ScaleCase& s : kScales)
    {
        SCOPED_TRACE(s.scale);
        useScale(s.scale);
        const int baseline = s.lineHeight - s.lineBelow;

        // "[B]A[/B]": the bold face's glyph, which is not the regular one.
        const std::vector<uint32_t> bold = render("[B]A[/B]");
        EXPECT_EQ(wrapper->getLineHeight(), s.lineHeight);
        EXPECT_EQ(wrapper->getLineCount(), 1);
        Expected boldA;
        drawGlyph(boldA, CFontObject::kBold, 'A', 0, baseline);
        EXPECT_EQ(bold, pixels(boldA.bitmap));
        Expected regularA;
        drawGlyph(regularA, CFontObject::kRegular, 'A', 0, baseline);
        EXPECT_NE(bold, pixels(regularA.bitmap));
        EXPECT_EQ(wrapper->getTextWidth(), roundHalfUp(advance(CFontObject::kBold, 'A')));

        // Letter, picture in the palette's "Action" colour centred on the line, letter.
        const std::vector<uint32_t> arrow = render("A[IMG=is.button#ArrowRight:Action]B");
        EXPECT_EQ(wrapper->getLineCount(), 1);
        const CImage* picture = buttonImage("ArrowRight");
        const int pictureX = roundHalfUp(advance(CFontObject::kRegular, 'A'));
        const int pictureWidth = picture->getLayer(0)->getWidth();
        Expected letters;
        drawGlyph(letters, CFontObject::kRegular, 'A', 0, baseline);
        drawImage(letters, picture, pictureX,
                  (s.lineHeight - picture->getLayer(0)->getHeight()) / 2,
                  palette->findColor(CString("Action")));
        drawGlyph(letters, CFontObject::kRegular, 'B', pictureX + pictureWidth, baseline);
        EXPECT_EQ(arrow, pixels(letters.bitmap));
        EXPECT_EQ(wrapper->getTextWidth(),
                  roundHalfUp(pictureX + pictureWidth + advance(CFontObject::kRegular, 'B')));

        // A text of only a tag is one empty line; no text is no line.
        render("[B]");
        EXPECT_EQ(wrapper->getLineCount(), 1);
        EXPECT_EQ(wrapper->getTextHeight(), s.lineHeight);
        EXPECT_EQ(wrapper->getTextWidth(), 0);
        render("");
        EXPECT_EQ(wrapper->getTextHeight(), 0);
    }
}

TEST_F(CTextWrapperTest, WrapsAtTheLastSpaceAlignsAndJustifiesAllButTheLastLine)
{
    for (const ScaleCase& s : kScales)
    {
        SCOPED_TRACE(s.scale);
        useScale(s.scale);
        const int baseline = s.lineHeight - s.lineBelow;
        // "AB C" fits, "DE" passes the width by one pixel and goes to the second line.
        const int width = roundHalfUp(advance("AB C DE")) - 1;
        const int lineOne = roundHalfUp(advance("AB C"));
        const int lineTwo = roundHalfUp(advance("DE"));
        wrapper->setWidth(width);
        wrapper->setWrapped(true);

        // The first line from leftOne with "C" moved by shiftC, the second from leftTwo.
        auto expected = [&](int leftOne, int shiftC, int leftTwo)
        {
            auto out = std::make_unique<Expected>();
            drawGlyph(*out, CFontObject::kRegular, 'A', leftOne, baseline);
            drawGlyph(*out, CFontObject::kRegular, 'B', leftOne + roundHalfUp(advance("A")),
                      baseline);
            drawGlyph(*out, CFontObject::kRegular, 'C',
                      leftOne + roundHalfUp(advance("AB ")) + shiftC, baseline, &first);
            drawGlyph(*out, CFontObject::kRegular, 'D', leftTwo, s.lineHeight + baseline);
            drawGlyph(*out, CFontObject::kRegular, 'E', leftTwo + roundHalfUp(advance("D")),
                      s.lineHeight + baseline);
            return pixels(out->bitmap);
        };
        const char* text = "AB [C1]C[/C1] DE";
        EXPECT_EQ(render(text), expected(0, 0, 0));
        EXPECT_EQ(wrapper->getLineCount(), 2);
        EXPECT_EQ(wrapper->getTextHeight(), 2 * s.lineHeight);
        EXPECT_EQ(wrapper->getTextWidth(), lineOne);

        // Justify: the one space of the first line takes all free pixels; the last line stays.
        wrapper->setAlignment(CTextWrapper::kAlignJustify);
        EXPECT_EQ(render(text), expected(0, width - lineOne, 0));
        wrapper->setAlignment(CTextWrapper::kAlignRight);
        EXPECT_EQ(render(text), expected(width - lineOne, 0, width - lineTwo));
        wrapper->setAlignment(CTextWrapper::kAlignCenter);
        EXPECT_EQ(render(text), expected((width - lineOne) / 2, 0, (width - lineTwo) / 2));
        wrapper->setAlignment(CTextWrapper::kAlignLeft);

        // Points: the "C" of the first line (unit 7 of the text), the second line's "D".
        const CTextWrapper::Hit onC = wrapper->hitTest(roundHalfUp(advance("AB ")) + 1, 1);
        EXPECT_EQ(onC.line, 0);
        EXPECT_EQ(onC.textIndex, 7);
        const CTextWrapper::Hit onD = wrapper->hitTest(1, s.lineHeight + 1);
        EXPECT_EQ(onD.line, 1);
        EXPECT_EQ(onD.textIndex, 14);
        EXPECT_EQ(wrapper->hitTest(1, 2 * s.lineHeight).line, -1);
    }
}

TEST_F(CTextWrapperTest, BrokenMarkUpAndMissingGlyphsDrawAsThePlainTextDoes)
{
    useScale(1.0);
    const uint16_t loneSurrogate[] = {'A', 0xD800, 0x4E00, 1, 'B'};
    EXPECT_EQ(render(CString::fromUtf16(loneSurrogate, 5)), render("AB"));
    // Invalid UTF-8 never reaches the wrapper as more than the units it decodes to.
    EXPECT_EQ(render(CString::fromUtf8("A\xC3\x28\xFF"
                                       "B")),
              render("A(B"));
    // Unknown and unfinished tags are text, "[" included.
    const std::vector<uint32_t> unknown = render("[X][b][B");
    Expected asText;
    const int baseline = 11;
    double pen = 0.0;
    for (const char* c = "[X][b][B"; *c; ++c)
    {
        drawGlyph(asText, CFontObject::kRegular, *c, roundHalfUp(pen), baseline);
        pen += advance(CFontObject::kRegular, *c);
    }
    EXPECT_EQ(unknown, pixels(asText.bitmap));
    // A set that is not there adds nothing; a role that is not there keeps the picture's place.
    EXPECT_EQ(render("A[IMG=is.nowhere#Arrow:Action]B"), render("AB"));
    const int pictureWidth = buttonImage("ArrowRight")->getLayer(0)->getWidth();
    Expected gap;
    drawGlyph(gap, CFontObject::kRegular, 'B', pictureWidth, baseline);
    EXPECT_EQ(render("[IMG=is.button#ArrowRight:NoSuchRole]B"), pixels(gap.bitmap));
    // A word wider than the line stands alone on its own line.
    wrapper->setWrapped(true);
    wrapper->setWidth(roundHalfUp(advance("AB")));
    render("A WWWWWWWW B");
    EXPECT_EQ(wrapper->getLineCount(), 3);
    EXPECT_EQ(wrapper->getLine(1).sourceStart, 2);
    EXPECT_EQ(wrapper->getLine(1).sourceEnd, 10);
}

TEST_F(CTextWrapperTest, AnUnchangedWrapperDrawsFromItsRunsAndALayoutAgainAllocatesNothing)
{
    useScale(1.0);
    wrapper->setWidth(70);
    wrapper->setWrapped(true);
    const char* text =
        "[B]Period[/B] between [C2]signals[/C2] (seconds)[BR][HR]A[IMG=is.button#Arrow:Action]";
    const std::vector<uint32_t> once = render(text);
    EXPECT_EQ(wrapper->getLayoutCount(), 1);
    // The rule is a line of its own between the wrapped words and the picture's line.
    const int lineCount = wrapper->getLineCount();
    ASSERT_GE(lineCount, 3);
    const CTextWrapper::Line& ruleLine = wrapper->getLine(lineCount - 2);
    ASSERT_EQ(ruleLine.runCount, 1);
    EXPECT_EQ(wrapper->getRun(ruleLine.firstRun).kind, CTextWrapper::kRunRule);
    EXPECT_EQ(wrapper->getRun(ruleLine.firstRun).width, 70);
    EXPECT_EQ(render(text), once);
    EXPECT_EQ(wrapper->getLayoutCount(), 1);
    wrapper->setParagraphSpacing(4);
    wrapper->getLineCount();
    EXPECT_EQ(wrapper->getLayoutCount(), 2);

    wrapper->invalidate();
    CAllocator::watchThread(CThisThread::id());
    wrapper->layout();
    const uint64_t allocations = CAllocator::watchedAllocations();
    CAllocator::watchThread(0);
    EXPECT_EQ(allocations, 0u);
    EXPECT_EQ(wrapper->getLayoutCount(), 3);
}

TEST_F(CTextWrapperTest, MissingFontObjectIsAnError)
{
    CTextWrapper empty;
    EXPECT_NE(
        test::CErrorText::takeChain(empty.setFontObject(nullptr)).find("Font object is empty."),
        std::string::npos);
}
