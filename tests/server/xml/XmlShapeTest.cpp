#include "server/xml/XmlShape.h"

#include <gtest/gtest.h>

#include <string>

using kest::server::xml::checkShape;
using kest::server::xml::XmlLimits;
using kest::server::xml::XmlShape;

namespace {

using Verdict = XmlShape::Verdict;

std::string nested(int depth) {
  std::string text;
  for (int i = 0; i < depth; ++i) text += "<A>";
  for (int i = 0; i < depth; ++i) text += "</A>";
  return text;
}

// <R> holding count empty elements: count + 1 nodes.
std::string flat(int count) {
  std::string text = "<R>";
  for (int i = 0; i < count; ++i) text += "<E/>";
  return text + "</R>";
}

Verdict verdictOf(const std::string& text, XmlLimits limits = {8, 16}) {
  return checkShape(text, limits).verdict;
}

TEST(XmlShapeTest, NestingUpToTheLimitIsWithinAndOneMoreIsTooDeep) {
  EXPECT_EQ(verdictOf(nested(8)), Verdict::Within);
  EXPECT_EQ(verdictOf(nested(9)), Verdict::TooDeep);
  EXPECT_EQ(verdictOf("<A><A><A><A><A><A><A><A/></A></A></A></A></A></A></A>"), Verdict::Within);
  EXPECT_EQ(verdictOf("<A><A><A><A><A><A><A><A><A/></A></A></A></A></A></A></A></A>"),
            Verdict::TooDeep);
}

TEST(XmlShapeTest, TooDeepStopsAtTheStartTagPastTheLimit) {
  const std::string text = "<A><B>" + nested(10) + "</B></A>";
  const XmlShape shape = checkShape(text, {4, 100});
  EXPECT_EQ(shape.verdict, Verdict::TooDeep);
  EXPECT_EQ(shape.offset, 12u);  // the third <A>, at depth 5
}

TEST(XmlShapeTest, ElementsUpToTheLimitAreWithinAndOneMoreIsTooMany) {
  EXPECT_EQ(verdictOf(flat(15)), Verdict::Within);
  EXPECT_EQ(verdictOf(flat(16)), Verdict::TooManyNodes);
}

TEST(XmlShapeTest, AttributesCountAsNodes) {
  EXPECT_EQ(verdictOf(flat(13).insert(2, " a='1' b = \"2\"")), Verdict::Within);
  EXPECT_EQ(verdictOf(flat(14).insert(2, " a='1' b = \"2\"")), Verdict::TooManyNodes);
}

TEST(XmlShapeTest, TextRunsTheParserKeepsCountAsNodes) {
  // Text between elements, and text split by comments, is one node per run.
  EXPECT_EQ(verdictOf("<R>" + std::string(7, 'x') + "<E/>x<E/>x<!---->x<?p?>x</R>"),
            Verdict::Within);  // R, 2 E, 5 runs
  EXPECT_EQ(checkShape("<R>x<E/>x<!---->x<?p?>x</R>", {8, 5}).verdict, Verdict::TooManyNodes);
  EXPECT_EQ(checkShape("<R>x<E/>x<!---->x<?p?>x</R>", {8, 6}).verdict, Verdict::Within);
}

TEST(XmlShapeTest, WhiteSpaceCountsOnlyAsAnElementsWholeContent) {
  // Indentation between elements is dropped by the parser; an element that
  // holds only white space keeps it.
  EXPECT_EQ(checkShape("<R>\n  <E/>\n  <E/>\n</R>", {8, 3}).verdict, Verdict::Within);
  EXPECT_EQ(checkShape("<R><E> </E><E>\t</E></R>", {8, 4}).verdict, Verdict::TooManyNodes);
  EXPECT_EQ(checkShape("<R><E> </E><E>\t</E></R>", {8, 5}).verdict, Verdict::Within);
}

TEST(XmlShapeTest, CdataSectionsAreOneNodeWhateverTheyHold) {
  EXPECT_EQ(checkShape("<R><![CDATA[<A><A><A>]]></R>", {1, 2}).verdict, Verdict::Within);
  EXPECT_EQ(checkShape("<R><![CDATA[<A><A><A>]]></R>", {1, 1}).verdict, Verdict::TooManyNodes);
}

TEST(XmlShapeTest, MarkupInsideQuotedAttributeValuesIsNotCounted) {
  EXPECT_EQ(checkShape("<R a='<A><A>' b=\"/>>\"><E/></R>", {2, 4}).verdict, Verdict::Within);
  EXPECT_EQ(checkShape("<R a='\"<A>' b=\"'<A/>\"/>", {1, 3}).verdict, Verdict::Within);
}

TEST(XmlShapeTest, CommentsProcessingInstructionsAndDoctypeAreSkippedWhole) {
  const std::string text =
      "<?xml version=\"1.0\"?>\n"
      "<!DOCTYPE R SYSTEM \"r>.dtd\" [\n"
      "  <!ELEMENT R ANY>\n"
      "  <!ENTITY e \"<A><A>\">\n"
      "  <!-- <A> ] > -->\n"
      "  <?p <A> ?>\n"
      "]>\n"
      "<!-- <A><A> -->\n"
      "<R><?p <A> ?><!-- <A> --><!-->--></R>";
  const XmlShape shape = checkShape(text, {1, 1});
  EXPECT_EQ(shape.verdict, Verdict::Within) << shape.problem;
  EXPECT_EQ(shape.offset, text.size());
}

TEST(XmlShapeTest, WhiteSpaceCommentsAndProcessingInstructionsMayFollowTheRoot) {
  EXPECT_EQ(verdictOf("\xEF\xBB\xBF<R/>"), Verdict::Within);
  EXPECT_EQ(verdictOf("<R></R> \r\n\t"), Verdict::Within);
  EXPECT_EQ(verdictOf("<R/><!-- done --> <?p x?>\n"), Verdict::Within);
}

TEST(XmlShapeTest, ContentAfterTheRootIsNotWellFormed) {
  for (const char* text :
       {"<R/>x", "<R></R>\n<R/>", "<R/><![CDATA[x]]>", "<R/></R>", "<R/><!DOCTYPE R>"}) {
    EXPECT_EQ(verdictOf(text), Verdict::NotWellFormed) << text;
  }
  const XmlShape shape = checkShape("<R></R>  tail", {8, 16});
  EXPECT_EQ(shape.problem, "content after the root element");
  EXPECT_EQ(shape.offset, 9u);
}

TEST(XmlShapeTest, MarkupItCannotReadIsNotWellFormed) {
  for (const char* text :
       {"x<R/>", "<R><!-- </R>", "<R><![CDATA[ </R>", "<R><? </R>", "<R a='1></R>", "<R a></R>",
        "<R a=1></R>", "<R =''></R>", "< R/>", "<R><</R>", "<R><!ELEMENT R></R>",
        "<!DOCTYPE R [ <A> ]><R/>", "<!DOCTYPE R [ > ]><R/>", "<!DOCTYPE R [ '<A>' ]><R/>",
        "<!DOCTYPE R [ <![INCLUDE[ ]]> ]><R/>", "<!DOCTYPE R", "<R><!DOCTYPE R></R>"}) {
    EXPECT_EQ(verdictOf(text), Verdict::NotWellFormed) << text;
  }
}

TEST(XmlShapeTest, WhatEndsEarlyIsLeftToTheParser) {
  EXPECT_EQ(verdictOf(""), Verdict::Within);
  EXPECT_EQ(verdictOf("<R><E>"), Verdict::Within);
  EXPECT_EQ(verdictOf("<R><E></R>"), Verdict::Within);
}

}  // namespace
