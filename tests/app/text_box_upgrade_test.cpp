// Text boxes through the command-line upgrade: every field, a family no machine has and odd values come
// out of `velumen upgrade` as they went in.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <limits>

#include "../document/fixtures/archive_test_support.h"
#include "document/FoliantData.h"
#include "objects/FoliantTextBox.h"

namespace velumen {
namespace {

std::vector<std::uint8_t> readAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

TEST(TextBoxUpgrade, EveryFieldComesOutOfTheUpgradeAsItWentIn) {
    archive_test::TempDir dir;
    auto book = std::make_shared<FoliantData>();
    book->pages().push_back(FoliantData::createNewPage());
    book->setPageNum(0);
    auto styled = FoliantTextBox::foliantTextBoxWithText("Title\nbody", {100.5, 200.25, 640, 122},
                                                         KFont::initWithFontName("LiberationSerif-BoldItalic", 36), 0.5, 1);
    styled->foregroundColor = {0.25, 0.5, 0.75, 1};
    styled->backgroundColor = {1, 1, 0, 0.375};  // colours are stored as floats
    styled->textAlignment = 1;
    auto missing = FoliantTextBox::foliantTextBoxWithText(
        "<Text>", {0, 0, 750, 61}, KFont::initWithFontName("AFamilyNoMachineHas-Oblique", 48), 1, 0);
    auto odd = FoliantTextBox::foliantTextBoxWithText("", {std::numeric_limits<double>::quiet_NaN(), -1, -2, 0},
                                                      KFont::initWithFontName("", 0), 1, 0);
    odd->textAlignment = -4;
    book->pages()[0]->textBoxes = {styled, missing, odd};

    const std::string in = dir.file("in.velumen"), out = dir.file("out.velumen");
    archive_test::writeFile(in, archivedDataWithRootObject(*book, nullptr));
    ASSERT_EQ(std::system((std::string(VELUMEN_TOOL) + " upgrade " + in + " " + out + " >/dev/null").c_str()), 0);
    const FoliantDataPtr back = unarchiveFoliantData(readAll(out), nullptr);
    ASSERT_TRUE(back);
    const auto& boxes = back->pages()[0]->textBoxes;
    ASSERT_EQ(boxes.size(), 3u);
    EXPECT_TRUE(boxes[0]->isEqualToTextBox(*styled));
    EXPECT_TRUE(boxes[1]->isEqualToTextBox(*missing));
    EXPECT_TRUE(std::isnan(boxes[2]->frame.x));
    EXPECT_EQ(boxes[2]->textAlignment, -4);
    EXPECT_EQ(boxes[2]->font.pointSize, 0.0f);
}

}  // namespace
}  // namespace velumen
