// The XML writer: scopes, attributes, content kinds, escaping, Base64 and
// the misuse reports.
#include <gtest/gtest.h>

#include <string>

#include "DIAG/diag.h"
#include "common/test_util.h"
#include "support/xml_writer.h"

using testutil::appError;
using testutil::inChild;

TEST(XmlWriter, ElementsAttributesAndContent) {
  testutil::TempDir dir;
  std::string path = dir.file("out.xml");
  auto r = inChild([&] {
    STREAM_HANDLE* s = stream_open(path.c_str(), "w");
    XML_WRITER w(s, 2);
    XML_TAG root("root"), name("name"), empty("e"), blob("blob"), none("none");
    uint8_t bytes[58];
    for (int i = 0; i < 58; ++i) bytes[i] = static_cast<uint8_t>(i);
    std::printf("%d ", xml_element(&w, XML_OPEN, XML_NONE, &root, 2, "a", XML_HEX64, 0x1fULL,
                                   "b", XML_SIGNED32, int32_t{-5}));
    std::printf("%d ", w.depth);
    xml_element(&w, XML_OPEN | XML_CLOSE, XML_TEXT, &name, 1, "u", XML_UNSIGNED32,
                uint32_t{4000000000u}, "a<b & 'c' \"d\" >");
    xml_element(&w, XML_EMPTY, XML_NONE, &empty, 1, "t", XML_TEXT, "x&y");
    xml_element(&w, XML_OPEN | XML_CLOSE, XML_BYTES, &blob, 0, bytes, size_t{58});
    xml_element(&w, XML_OPEN | XML_CLOSE, XML_BYTES, &none, 0, bytes, size_t{0});
    std::printf("%d ", xml_indent_printf(&w, "<!-- %d -->\n", 7));
    xml_element(&w, XML_CLOSE, XML_NONE, &root, 0);
    std::printf("%d %zu\n", w.depth, w.scopes.size());
    stream_close(s);
  });
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.err, "");
  EXPECT_EQ(r.out, "23 1 13 0 0\n");
  EXPECT_EQ(testutil::readFile(path),
            "<root a=\"0x1f\" b=\"-5\">\n"
            "  <name u=\"4000000000\">a&lt;b &amp; &apos;c&apos; &quot;d&quot; &gt;</name>\n"
            "  <e t=\"x&amp;y\"/>\n"
            "  <blob>\n"
            "  AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8gISIjJCUmJygpKissLS4vMDEyMzQ1Njc4\n"
            "  OQ==\n"
            "  </blob>\n"
            "  <none>\n"
            "  \n"
            "  </none>\n"
            "  <!-- 7 -->\n"
            "</root>\n");
}

TEST(XmlWriter, ScopeErrorsAreReportedAndWritingGoesOn) {
  testutil::TempDir dir;
  std::string path = dir.file("out.xml");
  auto r = inChild([&] {
    DIAG::diag_cols = 1000;
    STREAM_HANDLE* s = stream_open(path.c_str(), "w");
    XML_WRITER w(s, 1);
    XML_TAG a("a"), b("b"), c("c"), e("e"), unnamed("");
    xml_element(&w, XML_OPEN, XML_NONE, &a, 0);
    xml_element(&w, XML_OPEN, XML_NONE, &b, 0);
    xml_element(&w, XML_CLOSE, XML_NONE, &a, 0);
    xml_element(&w, XML_CLOSE, XML_NONE, &b, 0);
    xml_element(&w, XML_CLOSE, XML_NONE, &c, 0);
    std::printf("%d ", w.depth);
    xml_element(&w, XML_EMPTY, XML_UNSIGNED32, &e, 0, uint32_t{9});
    xml_element(&w, XML_OPEN | XML_CLOSE, XML_SIGNED32, &unnamed, 0, int32_t{-1});
    std::printf("%s\n", unnamed.name.c_str());
    stream_close(s);
  });
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out, "-1 reserved\n");
  EXPECT_EQ(r.err, appError("closing scope <a> when the current scope is <b>") +
                       appError("closing scope <b> when the current scope is <a>") +
                       appError("closing scope <c> when there is no scope open") +
                       appError("printing content after empty <e> tag"));
  // Depth below zero writes no indentation.
  EXPECT_EQ(testutil::readFile(path), "<a>\n <b>\n </a>\n</b>\n</c>\n<e/>9<reserved>-1</reserved>\n");
}

TEST(XmlWriter, WideIndentationAndTagLengths) {
  testutil::TempDir dir;
  std::string path = dir.file("out.xml");
  auto r = inChild([&] {
    STREAM_HANDLE* s = stream_open(path.c_str(), "w");
    XML_WRITER w(s, 300);
    w.depth = 2;
    std::printf("%d ", xml_indent_printf(&w, "x"));
    XML_TAG longName(std::string(40, 'n'));
    std::printf("%zu\n", xml_max_tag_name_length());
    stream_close(s);
  });
  EXPECT_EQ(r.out, "601 40\n");
  EXPECT_EQ(testutil::readFile(path), std::string(600, ' ') + "x");
}
