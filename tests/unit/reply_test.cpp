// The decoders of what devices return, at the bounds of a reply.
#include "fixture.h"

#include "changer/element_reply.h"
#include "tape/replies.h"

TEST(Reply, LastElement)
{
    ELEMENT strItem;
    const unsigned char cReply[99] = {2, 128, 0, 13, 9, 9, 0, 30};
    const ELEMENT_PAGE strPage = strReadPage(cReply, 0, false);
    EXPECT_EQ(strPage.iNext, 34);
    EXPECT_FALSE(bReadElement(cReply, 33, &strPage, 1, &strItem));
    EXPECT_TRUE(bReadElement(cReply, 34, &strPage, 1, &strItem));
    EXPECT_EQ((const unsigned char*)strItem.cpLabel, cReply + 33);
}

TEST(Reply, ModeHeader)
{
    const unsigned char cReply[8] = {1, 2, 9, 0x17, 9, 9, 1, 0x17};
    EXPECT_EQ(strReadModeHeader(cReply, false).uiPages, 20U);
    EXPECT_EQ(strReadModeHeader(cReply, true).uiPages, 2072U);
}

// A page, two codes or lengths of zero, and a page that runs past the reply.
TEST(Reply, Pages)
{
    const unsigned char cReply[] = {9, 0x81, 2, 3, 1, 0, 9, 0, 15, 2, 7};
    std::string szWalk;
    PAGE_WALK strWalk = strBeginPages(cReply, 11, 1, 12);
    while (bNextPageByte(&strWalk))
        szWalk += strWalk.bInside ? std::to_string(strWalk.j) : "-";
    EXPECT_EQ(szWalk, "0123---0123");
}

// An attribute at index 1: format, index of the next one, value.
TEST(Reply, Attribute)
{
    const std::pair<std::vector<unsigned char>, const char*> strItems[] = {
        {{0, 0, 1, 2, 1, 0, 'A', 'B'}, "2 262 AB"},
        {{0, 0, 1, 0x7F, 0, 0}, "3 6 "},
        {{0, 0, 1, 1, 1}, "1 262 "},
    };
    for (const auto& [cReply, cpText] : strItems) {
        const ATTRIBUTE strItem = strReadAttribute(&cReply[0], (unsigned int)cReply.size(), 1);
        const std::string szValue((const char*)strItem.cpValue, strItem.uiValue);
        EXPECT_EQ(std::to_string(strItem.uiFormat) + " " + std::to_string(strItem.uiNext) + " " +
                      szValue,
                  cpText);
    }
}
