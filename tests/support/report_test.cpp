// The XML writer, memory zones and the fatal-signal report.
#include <gtest/gtest.h>

#include <sys/mman.h>

#include <csignal>
#include <cstring>

#include "DIAG/diag.h"
#include "DIAG/user_msg_api.h"
#include "support/fatal_signal.h"
#include "support/xml_writer.h"
#include "support/zone.h"
#include "unit.h"

using unit::Seq;

TEST(XmlWriter, ElementsContentScopesAndMisuse) {
  const std::string path = unit::scratch("out.xml");
  unit::Ran r = unit::inChild([&] {
    DIAG::diag_cols = 1000;
    STREAM_HANDLE* s = stream_open(path.c_str(), "w");
    XML_WRITER w(s, 2);
    XML_TAG root("root"), name("name"), empty("e"), blob("blob"), none("none"), b("b"), c("c"), unnamed("");
    uint8_t bytes[60];  // 58 of them written
    for (int i = 0; i < 60; ++i) bytes[i] = static_cast<uint8_t>(i * 5);
    std::printf("%d ", xml_element(&w, XML_OPEN, XML_NONE, &root, 2, "a", XML_HEX64, 0x1fULL, "b", XML_SIGNED32, -5));
    xml_element(&w, XML_OPEN | XML_CLOSE, XML_TEXT, &name, 1, "u", XML_UNSIGNED32, 4000000000u, "a<b & 'c' \"d\" >");
    xml_element(&w, XML_EMPTY, XML_NONE, &empty, 1, "t", XML_TEXT, "x&y");
    xml_element(&w, XML_OPEN | XML_CLOSE, XML_BYTES, &blob, 0, bytes, size_t{58});
    xml_element(&w, XML_OPEN | XML_CLOSE, XML_BYTES, &none, 1, "n", 9, bytes, size_t{2});
    std::printf("%d ", xml_indent_printf(&w, "<!-- %d -->\n", 7));
    // Closing root while b is the current scope, then b, then with nothing open.
    for (auto [flags, tag] : {std::pair{XML_OPEN, &b}, {XML_CLOSE, &root}, {XML_CLOSE, &b}, {XML_CLOSE, &c}})
      xml_element(&w, flags, XML_NONE, tag, 0);
    std::printf("%d %zu ", w.depth, w.scopes.size());
    xml_element(&w, XML_EMPTY, XML_UNSIGNED32, &empty, 0, 9u);
    xml_element(&w, XML_OPEN | XML_CLOSE, XML_SIGNED32, &unnamed, 0, -1);
    w.depth = 1, w.indent_width = 300;
    XML_TAG wide(std::string(40, 'n'));
    std::printf("%d %zu", xml_indent_printf(&w, "x"), xml_max_tag_name_length());
  });
  EXPECT_EQ(r.out, "23 13 -1 0 301 40");
  EXPECT_EQ(r.err, unit::appError("closing scope <root> when the current scope is <b>") +
                       unit::appError("closing scope <b> when the current scope is <root>") +
                       unit::appError("closing scope <c> when there is no scope open") +
                       unit::appError("printing content after empty <e> tag"));
  EXPECT_EQ(unit::slurp(path),
            "<root a=\"0x1f\" b=\"-5\">\n"
            "  <name u=\"4000000000\">a&lt;b &amp; &apos;c&apos; &quot;d&quot; &gt;</name>\n  <e t=\"x&amp;y\"/>\n"
            "  <blob>\n  AAUKDxQZHiMoLTI3PEFGS1BVWl9kaW5zeH2Ch4yRlpugpaqvtLm+w8jN0tfc4ebr8PX6/wQJDhMY\n"
            "  HQ==\n  </blob>\n"
            "  <none n=\"\">\n  AAU=\n  </none>\n  <!-- 7 -->\n  <b>\n  </root>\n</b>\n</c>\n"
            "<e/>9<reserved>-1</reserved>\n" + std::string(300, ' ') + "x");
}

TEST(Zone, PiecesBlocksAndStatistics) {
  Zone zone;
  const uint32_t zones = zone_count(), blockBytes = zone_statistics().totalBlockBytes;
  zone_create(&zone, 64, "names", 0);
  EXPECT_TRUE(zone_count() == zones + 1 && !zone.blocks);
  // A piece takes its size plus one rounded up to even, unless it fills the
  // block; aligned pieces are padded when the padding and the piece fit.
  for (auto [size, align, offset, left, fresh] :
       {std::tuple{10u, 0u, 0, 52u, true}, {7u, 0u, 12, 44u, false}, {41u, 0u, 20, 2u, false}, {2u, 0u, 62, 0u, false},
        {1u, 0u, 0, 62u, true}, {59u, 0u, 2, 2u, false}, {1u, 0u, 62, 0u, false}, {100u, 0u, 0, 0u, true},
        {1u, 0u, 0, 62u, true}, {16u, 8u, 8, 38u, false}, {4u, 8u, 32, 26u, false}, {15u, 0u, 38, 10u, false},
        {8u, 8u, 56, 0u, false}, {4u, 8u, 0, 58u, true}, {51u, 0u, 6, 6u, false}, {4u, 8u, 0, 58u, true}}) {
    ZoneBlock* before = zone.blocks;
    auto* piece = static_cast<uint8_t*>(align ? zone_alloc_aligned(&zone, size, align) : zone_alloc(&zone, size));
    EXPECT_EQ((Seq{piece - zone.blocks->data, zone.bytesFree, zone.blocks != before, zone.blocks->size,
                   piece[size - 1]}.text), (Seq{offset, left, fresh, std::max(size, 64u), 0}.text)) << size;
  }
  EXPECT_EQ((Seq{zone.bytesRequested, zone.peakRequested, zone_statistics().totalBlockBytes - blockBytes}.text),
            "335 335 420");
  zone_release(&zone);
  EXPECT_TRUE(!zone.blocks && zone_statistics().totalBlockBytes == blockBytes);
}

TEST(FatalSignal, DescriptionsNamesAndEnds) {
  EXPECT_EQ((Seq{fault_description(SIGILL), fault_description(SIGFPE), fault_description(SIGSEGV),
                 fault_description(SIGABRT), fault_description(SIGBUS)}.text),
            "executed an illegal instruction received a floating point exception experienced a segmentation fault "
            "had an internal inconsistency and aborted experienced a fatal internal fault");
  const std::string advice = unit::inChild(print_defect_advice).err;
  EXPECT_TRUE(advice.starts_with("This failure is caused by a defect in the Zq4 Archiver.") &&
              advice.ends_with("ALL of the command-line options.\n\n"));
  const auto report = [&](const std::string& name, const std::string& what, const std::string& detail = "") {
    const std::string line = detail.empty() ? "" : std::string(18, ' ') + detail + "\n";
    return "\nINTERNAL ERROR: " + name + " " + what + "\n" + line + "\n" + advice;
  };
  static void (*const hook)(int) = [](int signo) { std::fprintf(stderr, "[hook %d]", signo); };
  // Names at addresses whose low 32 bits are below 100001 count as absent, and so do detail formats.
  auto* low = static_cast<char*>(mmap(reinterpret_cast<void*>(0x18000), 4096, PROT_READ | PROT_WRITE,
                                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0));
  ASSERT_NE(low, MAP_FAILED);
  const char* const at100000 = std::strcpy(low + 100000 - 0x18000, "xname %d");
  for (const auto& [fire, err] : std::initializer_list<std::pair<std::function<void()>, std::string>>{
           {[] { raise_fatal(SIGSEGV); }, report("bin/zolt", "experienced a segmentation fault")},
           {[] { set_fatal_cleanup_hook(hook), std::abort(); },
            report("bin/zolt", "had an internal inconsistency and aborted") + "[hook 6]"},
           {[] { set_fatal_cleanup_hook(hook), std::raise(SIGINT); }, "[hook 2][bin/zolt forced exit]\n"},
           {[] { user_msg_die(user_msg_reporter(), "OF", "x"); },
            "DIAG/user_msg_api:213:internal fatal error #99926: (OF: x)\n" +
                report("bin/zolt", "had an internal inconsistency and aborted")},
           {[] { fatal_signal(SIGFPE, nullptr, "detail %d", 42); },
            report("unknown", "received a floating point exception", "detail 42")},
           {[&] { fatal_signal(SIGILL, at100000, at100000, 1); }, report("unknown", "executed an illegal instruction")},
           {[&] { fatal_signal(SIGTERM, at100000 + 1, ""); }, "[name %d received a terminate signal]\n"},
           {[&] { fatal_signal(SIGSEGV, "t", at100000 + 1, 7); },
            report("t", "experienced a segmentation fault", "name 7")},
           {[] { fatal_signal(SIGSEGV, "t", ""); }, report("t", "experienced a segmentation fault")},
           {[] { std::raise(SIGXFSZ), std::fputs("a file size limit only fails the write", stderr); },
            "a file size limit only fails the write"}}) {
    const std::function<void()>& run = fire;
    unit::Ran r = unit::inChild([&] {
      std::atexit([] { std::fputs("exit handlers ran\n", stderr); });
      install_fatal_handler([](int signo) { fatal_signal(signo, "bin/zolt", nullptr); }, nullptr);
      run();
      _exit(0);
    });
    EXPECT_EQ(std::tuple(r.status, r.err), std::tuple(err.starts_with("a file") ? 0 : 2, err));
  }
  munmap(low, 4096);
}
