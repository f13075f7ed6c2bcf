#include "Core/CError.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

using kel::CError;

namespace
{
CError* failDeep()
{
    return KEL_ERROR("@kelstr_Test_failDeep Value %1 of '%2' out of range %3.", -7, "gain", 3u);
}

CError* passThrough()
{
    KEL_CHECK(failDeep());
    return nullptr;
}

CError* cleanUpOnFailure(bool isFailing, int& cleanups)
{
    KEL_CHECK(isFailing ? failDeep() : nullptr, ++cleanups);
    return nullptr;
}

const char* germanTranslator(const char* key)
{
    return std::strcmp(key, "kelstr_Test_failDeep") == 0 ? "Wert %1 von '%2' (%3)" : nullptr;
}
} // namespace

TEST(CError, KeyedMessageTakesArgumentsAndChainGrowsPerLevel)
{
    CError* error = passThrough();
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->getKey(), "kelstr_Test_failDeep");
    EXPECT_STREQ(error->getMessage(), "Value -7 of 'gain' out of range 3.");
    ASSERT_EQ(error->getFrameCount(), 2);
    EXPECT_NE(std::string(error->getFrameFile(0)).find("CErrorTest.cpp"), std::string::npos);
    EXPECT_LT(error->getFrameLine(0), error->getFrameLine(1));

    char text[256];
    const int needed = error->formatChain(text, sizeof(text));
    EXPECT_EQ(needed, static_cast<int>(std::strlen(text)));
    EXPECT_EQ(std::string(text).rfind("Value -7 of 'gain' out of range 3.\n  at ", 0), 0u);
    char tiny[8];
    EXPECT_EQ(error->formatChain(tiny, sizeof(tiny)), needed);
    EXPECT_STREQ(tiny, "Value -");
    delete error;
}

TEST(CError, CheckRunsItsCleanupOnlyOnFailureAndAHandedOnErrorGetsItsFrame)
{
    int cleanups = 0;
    EXPECT_EQ(cleanUpOnFailure(false, cleanups), nullptr);
    EXPECT_EQ(cleanups, 0);
    CError* error = cleanUpOnFailure(true, cleanups);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(cleanups, 1);
    EXPECT_EQ(error->getFrameCount(), 2);
    error = KEL_FRAME_AT(error, "resource 'Presets.cbf'");
    ASSERT_EQ(error->getFrameCount(), 3);
    EXPECT_STREQ(error->getFrameName(2), "resource 'Presets.cbf'");
    EXPECT_EQ(KEL_FRAME(static_cast<CError*>(nullptr)), nullptr);
    delete error;
}

TEST(CError, TextWithoutKeyIsKeptAndTranslatorReplacesByKey)
{
    CError* plain = CError::create("Post message error %1. 100%", 5);
    EXPECT_STREQ(plain->getKey(), "");
    EXPECT_STREQ(plain->getMessage(), "Post message error 5. 100%");
    delete plain;

    CError::setTranslator(germanTranslator);
    CError* translated = failDeep();
    CError::setTranslator(nullptr);
    EXPECT_STREQ(translated->getMessage(), "Wert -7 von 'gain' (3)");
    delete translated;
}

TEST(CError, NumberFollowsTheKeyNotTheTextOrItsArguments)
{
    kel::CError* first = KEL_ERROR("@kelstr_Test_number_A Value %1 is wrong.", 1);
    kel::CError* again = KEL_ERROR("@kelstr_Test_number_A Value %1 is wrong.", 2);
    kel::CError* other = KEL_ERROR("@kelstr_Test_number_B Value %1 is wrong.", 1);
    EXPECT_NE(first->getNumber(), 0u);
    EXPECT_EQ(first->getNumber(), again->getNumber());
    EXPECT_NE(first->getNumber(), other->getNumber());
    delete first;
    delete again;
    delete other;
}
