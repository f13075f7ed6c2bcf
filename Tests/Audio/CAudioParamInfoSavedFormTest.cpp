#include "Audio/CAudioCreators.h"
#include "Audio/CAudioParam.h"
#include "Audio/CAudioParamCollector.h"
#include "Audio/CAudioParamInfo.h"
#include "Audio/CAudioWrapper.h"
#include "Audio/Converters/CAudioParamConverter.h"
#include "Audio/Converters/CParamTestTree.h"
#include "Core/CApplication.h"
#include "Core/CMemoryReader.h"
#include "Core/CMemoryWriteBuffer.h"
#include "ProductResources.h"
#include "Support/CErrorText.h"
#include "Support/CUtf8.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

using kel::CAudioParam;
using kel::CAudioParamConverter;
using kel::CAudioParamInfo;
using kel::CError;
using kel::CString;
using kel::test::CErrorText;
using kel::test::CUtf8;

namespace
{

using Blob = std::vector<uint8_t>;

Blob blobOf(const CAudioParamInfo& info)
{
    kel::CMemoryWriteBuffer buffer;
    EXPECT_EQ(CErrorText::takeKey(info.save(buffer)), "");
    return Blob(buffer.getData(), buffer.getData() + buffer.getSize());
}

Blob defaultsBlobOf(const CAudioParamInfo& info)
{
    kel::CMemoryWriteBuffer buffer;
    EXPECT_EQ(CErrorText::takeKey(info.getDefaults().save(buffer)), "");
    return Blob(buffer.getData(), buffer.getData() + buffer.getSize());
}

void putInt32(Blob& blob, size_t offset, int32_t value)
{
    for (int i = 0; i < 4; ++i)
        blob[offset + static_cast<size_t>(i)] = static_cast<uint8_t>(value >> (8 * i));
}

// Where the lists of a saved form begin, worked out from the info that wrote it.
struct Offsets
{
    size_t converterCount;
    size_t limitCount;
    size_t defaults;
};

Offsets offsetsOf(const CAudioParamInfo& info)
{
    Offsets at{};
    at.converterCount = 12 + 12 +
                        static_cast<size_t>(info.getVisualName().getUtf8Length() +
                                            info.getLeafName().getUtf8Length() +
                                            info.getRegistryName().getUtf8Length());
    at.limitCount = at.converterCount + 4;
    for (const CString& name : info.getConverterNames())
        at.limitCount += 4 + static_cast<size_t>(name.getUtf8Length());
    at.defaults = at.limitCount + 4 + 16 * static_cast<size_t>(info.getElementSize());
    return at;
}

// Every parameter of an instance made from the product's shared tree.
class CAudioParamInfoSavedFormTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        kel::CApplication::addCreatorRegistration(&kel::CAudioCreators::registerAll);
        kel::CApplication::init(kel::resources::kResourceTable, "SharedData.xml");
        ASSERT_NE(kel::CApplication::getSharedObject(), nullptr);
        wrapper = std::make_unique<kel::CAudioWrapper>();
        wrapper->setChannelCount(2);
        CError* error = wrapper->init();
        ASSERT_EQ(error, nullptr) << error->getMessage();
    }
    void TearDown() override
    {
        wrapper.reset();
        kel::CApplication::shutdown();
    }

    // The infos of everything under plugin.modMain, by full name.
    std::vector<std::pair<std::string, CAudioParamInfo>> productInfos() const
    {
        std::vector<std::pair<std::string, CAudioParamInfo>> out;
        kel::CArray<CAudioParam*> params;
        wrapper->getParamCollector()->getParams(params);
        for (CAudioParam* param : params)
        {
            if (!param->getFullName().startsWith(CString("plugin.modMain.")))
                continue;
            CAudioParam::CGuard guard(*param);
            out.emplace_back(CUtf8::of(param->getFullName()), param->getInfo(guard));
        }
        return out;
    }

    CAudioParamInfo info(const char* fullName) const
    {
        CAudioParam* param = wrapper->getParamCollector()->getParam(CString(fullName));
        EXPECT_NE(param, nullptr) << fullName;
        CAudioParam::CGuard guard(*param);
        return param->getInfo(guard);
    }

    // Loads blob into target; on a failure target must not have moved.
    std::string loadInto(CAudioParamInfo& target, const Blob& blob, size_t length)
    {
        const Blob before = blobOf(target);
        const int32_t layoutBefore = target.getLayoutWord();
        kel::CMemoryReader reader(blob.data(), length);
        const std::string key =
            CErrorText::takeKey(target.load(reader, *kel::CApplication::getSharedObject()));
        if (!key.empty())
        {
            EXPECT_EQ(blobOf(target), before) << "target changed by a failed load";
            EXPECT_EQ(target.getLayoutWord(), layoutBefore);
        }
        return key;
    }

    std::unique_ptr<kel::CAudioWrapper> wrapper;
};

std::string formatted(const CAudioParamInfo& info, int element, double value, int mode)
{
    CString out;
    info.getConverter(element)->format(out, info, element, value, 0, mode);
    return CUtf8::of(out);
}

// Both infos give the same text, value and normalised position for value, in every mode.
void expectSameBehaviour(const CAudioParamInfo& a, const CAudioParamInfo& b, int element,
                         double value, const std::string& where)
{
    const CAudioParamConverter* ca = a.getConverter(element);
    const CAudioParamConverter* cb = b.getConverter(element);
    for (int mode : {CAudioParamConverter::kFormatNormal, CAudioParamConverter::kFormatShort,
                     CAudioParamConverter::kFormatShortName})
    {
        const std::string shown = formatted(a, element, value, mode);
        ASSERT_EQ(formatted(b, element, value, mode), shown) << where << " value " << value;
        bool okA = false;
        bool okB = false;
        const double backA = ca->parseClamped(a, element, CString(shown.c_str()), &okA);
        const double backB = cb->parseClamped(b, element, CString(shown.c_str()), &okB);
        EXPECT_EQ(okB, okA) << where << " '" << shown << "'";
        EXPECT_EQ(backB, backA) << where << " '" << shown << "'";
    }
    EXPECT_EQ(cb->toNormalised(b, element, value), ca->toNormalised(a, element, value)) << where;
}

} // namespace

TEST_F(CAudioParamInfoSavedFormTest, EveryProductParameterFormatsParsesAndMapsAlikeAfterTheTrip)
{
    const auto infos = productInfos();
    int bound = 0;
    for (const auto& [name, original] : infos)
    {
        // An unbound parameter has no definition yet, and nothing sends its info.
        if (!original.isValid())
        {
            std::printf("unbound: %s\n", name.c_str());
            continue;
        }
        ++bound;
        CAudioParamInfo restored;
        const Blob blob = blobOf(original);
        ASSERT_EQ(loadInto(restored, blob, blob.size()), "") << name;

        EXPECT_EQ(restored.isValid(), original.isValid()) << name;
        EXPECT_EQ(restored.isGlobal(), original.isGlobal()) << name;
        EXPECT_EQ(restored.isStorable(), original.isStorable()) << name;
        EXPECT_EQ(restored.isPersistent(), original.isPersistent()) << name;
        EXPECT_EQ(restored.isDiscrete(), original.isDiscrete()) << name;
        EXPECT_EQ(restored.isSingleGroup(), original.isSingleGroup()) << name;
        EXPECT_EQ(restored.getDataType(), original.getDataType()) << name;
        ASSERT_EQ(restored.getElementSize(), original.getElementSize()) << name;
        EXPECT_EQ(CUtf8::of(restored.getVisualName()), CUtf8::of(original.getVisualName())) << name;
        EXPECT_EQ(CUtf8::of(restored.getLeafName()), CUtf8::of(original.getLeafName())) << name;
        EXPECT_EQ(CUtf8::of(restored.getRegistryName()), CUtf8::of(original.getRegistryName()))
            << name;
        EXPECT_EQ(defaultsBlobOf(restored), defaultsBlobOf(original)) << name;
        // Saving again gives the same bytes: nothing was lost or reordered.
        EXPECT_EQ(blobOf(restored), blob) << name;

        const kel::CAudioParamStorage& defaults = original.getDefaults();
        for (int e = 0; e < original.getElementSize(); ++e)
        {
            const std::string where = name + " element " + std::to_string(e);
            ASSERT_EQ(restored.getConverter(e), original.getConverter(e)) << where;
            ASSERT_NE(restored.getConverter(e), nullptr) << where;
            EXPECT_EQ(restored.getMin(e), original.getMin(e)) << where;
            EXPECT_EQ(restored.getMax(e), original.getMax(e)) << where;
            const CAudioParamConverter* converter = original.getConverter(e);
            for (int step = 0; step <= 1000; ++step)
            {
                const double norm = step / 1000.0;
                const double value = converter->toValue(original, e, norm);
                ASSERT_EQ(converter->toValue(restored, e, norm), value) << where;
                expectSameBehaviour(original, restored, e, value, where);
            }
            for (int g = 0; g < defaults.getGroupCount(); ++g)
            {
                const double* values = defaults.getGroupValues(g);
                for (int i = e; i < defaults.getGroupLength(g); i += original.getElementSize())
                    expectSameBehaviour(original, restored, e, values[i], where + " default");
            }
        }
    }
    std::printf("%d of %d parameters\n", bound, static_cast<int>(infos.size()));
    EXPECT_GE(bound, 10);
}

TEST_F(CAudioParamInfoSavedFormTest, EveryTruncatedBlobFailsAndLeavesTheTargetAsItWas)
{
    // A real and, when the product has one, a string parameter; the target is another one.
    std::vector<Blob> blobs = {blobOf(info("plugin.modMain.modZumbelModule.gain"))};
    for (const auto& [name, candidate] : productInfos())
    {
        if (candidate.isString())
        {
            blobs.push_back(blobOf(candidate));
            break;
        }
    }
    CAudioParamInfo target = info("plugin.modMain.modZumbelModule.period");
    target.setLayoutWord(7);
    for (const Blob& blob : blobs)
    {
        for (size_t length = 0; length < blob.size(); ++length)
            ASSERT_NE(loadInto(target, blob, length), "") << "length " << length;
    }
}

TEST_F(CAudioParamInfoSavedFormTest, CorruptFieldsAreErrorsBeforeAnythingIsSizedByThem)
{
    const CAudioParamInfo gain = info("plugin.modMain.modZumbelModule.gain");
    const Blob good = blobOf(gain);
    const Offsets at = offsetsOf(gain);
    ASSERT_EQ(at.defaults, good.size() - defaultsBlobOf(gain).size());
    CAudioParamInfo target = info("plugin.modMain.modZumbelModule.period");

    struct Case
    {
        const char* what;
        size_t offset;
        int32_t value;
        const char* key;
    };
    const Case cases[] = {
        {"unknown flag bit", 0, 64, "kelstr_CAudioParamInfo_load_InvalidFlags"},
        {"element size 0", 4, 0, "kelstr_CAudioParamInfo_load_InvalidElementSize"},
        {"huge element size", 4, 1 << 30, "kelstr_CAudioParamInfo_load_InvalidElementSize"},
        {"unknown data type", 8, 5, "kelstr_CAudioParamInfo_load_InvalidDataType"},
        {"negative converter count", at.converterCount, -1,
         "kelstr_CAudioParamInfo_load_CountError"},
        {"huge converter count", at.converterCount, 0x7fffffff,
         "kelstr_CAudioParamInfo_load_CountError"},
        {"limits for two elements", at.limitCount, 2, "kelstr_CAudioParamInfo_load_CountError"},
        {"huge group count", at.defaults + 12, 1 << 20, "kelstr_CAudioParamInfo_load_CountError"},
        {"huge item count", at.defaults + 16, 1 << 19, "kelstr_CAudioParamInfo_load_CountError"},
    };
    for (const Case& c : cases)
    {
        Blob bad = good;
        putInt32(bad, c.offset, c.value);
        EXPECT_EQ(loadInto(target, bad, bad.size()), c.key) << c.what;
    }

    // A string parameter has one element only.
    Blob stringOfTwo = good;
    putInt32(stringOfTwo, 4, 2);
    putInt32(stringOfTwo, 8, CAudioParamInfo::kTypeString);
    EXPECT_EQ(loadInto(target, stringOfTwo, stringOfTwo.size()),
              "kelstr_CAudioParamInfo_load_InvalidDataType");

    // A converter the receiving tree does not have.
    CAudioParamInfo renamed = gain;
    renamed.getConverterNames()[0] = CString("no-such-converter");
    const Blob unknown = blobOf(renamed);
    EXPECT_EQ(loadInto(target, unknown, unknown.size()),
              "kelstr_CAudioParamInfo_parseConverterNames_ConverterNotFound");
}
