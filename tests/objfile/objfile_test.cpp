// The object library where the archiver does not reach it: recognition, load
// states and the status rules, header setters, string tables built with
// reuse, symbol classification and setters, metadata, the standard sections,
// the machine tables; and the quick symbol scan against the full reader.
#include <gtest/gtest.h>

#include <csignal>

#include "DIAG/diag.h"
#include "objfile/elf_file.h"
#include "objfile/section_table.h"
#include "objfile/string_table.h"
#include "objfile/symbol_scan.h"
#include "support/fatal_signal.h"
#include "unit.h"

using namespace OFE;

namespace {

const char* const kSource =
    "int defined_global = 1; static int local_counter = 2; int common_block; extern int undefined_ref;\n"
    "__attribute__((weak)) int weak_function(void) { return undefined_ref + local_counter; }\n"
    "int global_function(int x) { return x + defined_global + common_block; }\n"
    "__asm__(\".globl absolute_value\\n.equ absolute_value, 0x1234\");\n";

// An ELF header of the given class, byte order, machine and version alone.
std::string header(char cls, char data, uint16_t machine = 40, char version = 1) {
  std::string h = std::string{'\x7f', 'E', 'L', 'F', cls, data} + std::string(58, '\0');
  const bool big = data != 1;
  h[big ? 18 : 19] = static_cast<char>(machine >> 8), h[big ? 19 : 18] = static_cast<char>(machine);
  h[big ? 23 : 20] = version;
  return h;
}

// An object made from `bytes` at `offset` of a scratch file.
struct Opened {
  STREAM_HANDLE* stream;
  std::unique_ptr<OBJECT_FILE> object;
  explicit Opened(const std::string& bytes, long offset = 0, uint64_t size = 0) {
    static int files = 0;
    const std::string path = unit::scratch("object" + std::to_string(++files));
    unit::spit(path, std::string(offset, 'x') + bytes);
    stream = stream_open(path.c_str(), "rb");
    std::fseek(stream->stream, offset, SEEK_SET);
    object.reset(create_object_file(stream, size, 0, nullptr));
  }
  ~Opened() { object.reset(), stream_close(stream); }
  ELF_FILE* elf() const { return static_cast<ELF_FILE*>(object.get()); }
  ELF_SYMBOL* symbol(const char* name) const {
    return static_cast<ELF_SYMBOL*>(object->get_symbol_table()->find_symbol(name, 0));
  }
  std::string status() const { return std::to_string(object->get_status()) + " " + object->get_status_message(); }
};

std::string refused(const char* now, const char* rule, const char* wanted) {
  return std::string("5 this OBJECT_FILE object is currently in the ") + now + " state, and " + rule + " the " +
         wanted + " state to perform the requested operation ";
}

const std::string varied = unit::compile(kSource);

}  // namespace

TEST(ObjectFile, RecognitionAndTheFileHeader) {
  // Only the magic decides; a class or byte order other than 1 reads as 2.
  for (auto [bytes, made, cls, encoding, version, family] :
       {std::tuple<std::string, bool, uint32_t, uint32_t, uint32_t, uint32_t>{header(1, 1), true, 1, 1, 4, 1},
        {header(2, 2, 0x5A0B), true, 2, 2, 4, 11}, {header(0, 0, 40, 2), true, 2, 2, 0, 1},
        {header(3, 3, 41), true, 2, 2, 4, 0}, {"\x7f" "ELF", true, 2, 2, 0, 0}, {"\x7f" "EL", false, 0, 0, 0, 0},
        {"\xc2" + header(1, 1).substr(1), false, 0, 0, 0, 0}}) {
    Opened o(bytes);
    const OBJECT_FILE_SOURCE s = o.object ? o.object->get_source() : OBJECT_FILE_SOURCE{};
    EXPECT_EQ(std::tuple(o.object != nullptr, s.elf_class, s.encoding, s.version, s.machine_family, s.size),
              std::tuple(made, cls, encoding, version, family, made ? bytes.size() : 0)) << bytes.size();
  }
  unit::Ran r = unit::inChild([] {
    DIAG::diag_cols = 1000;
    Opened member(header(1, 1), 8), whole(header(1, 1)), sized(header(1, 1), 8, 64);
    std::printf("%d %d %d ", !member.object, int(sized.object->get_source().start),
                int(sized.object->get_serial() - whole.object->get_serial()));
    DATA_MAP map;  // maps hold 31-bit file offsets: a byte further cannot be sought
    for (auto [o, offset] : {std::pair{&whole, INT32_MAX}, {&whole, INT32_MAX + 1L}, {&sized, INT32_MAX - 8L},
                             {&sized, INT32_MAX - 7L}})
      o->object->get_file_data(offset, 1, map), std::printf("%d", map.read_u8());
  });
  const std::string negative = unit::appError("pfseeko called with SEEK_SET, but offset is negative");
  EXPECT_EQ(std::tuple(r.out, r.err), std::tuple("1 8 1 0000", "error: a file size must be specified when reading an "
                                                 "archive member; OBJECT_FILE not created\n" + negative + negative));
  OBJECT_FILE_SOURCE source;  // without a stream: the defaults of a new object show, and reading fails
  source.format = OF_FORMAT_ELF, source.machine_family = MACHINE_FAMILY_ZQ4;
  ELF_FILE_IMPL<64> made(source);
  EXPECT_EQ((std::tuple{made.get_e_machine(), made.get_e_ident(EI_DATA), made.get_e_type(), made.get_flags(),
                        made.read_file_header(), std::string(made.get_status_message())}),
            (std::tuple<uint16_t, uint8_t, uint16_t, uint32_t, int64_t, std::string>{0x5A0B, 1, 1, 256, -1,
             "illegal call to OBJECT_FILE::get_file_data() when the OBJECT_FILE object was not read from an input "
             "file"}));
  for (auto [kind, type] : {std::pair{1, 1}, {2, 2}, {3, 3}, {4, 0xE001}, {5, 4}, {0, -1}, {6, -1}}) {
    ELF_FILE_IMPL<32> elf(source);
    EXPECT_EQ((std::tuple{elf.set_file_type(kind), int(elf.get_e_type()), std::string(elf.get_status_message())}),
              (std::tuple{type < 0 ? -1 : 0, std::max(type, 0), type < 0 ? "invalid file type" : ""}));
  }
  for (int encoding : {0, 1, 2, 3}) {
    ELF_FILE_IMPL<32> elf(source);
    EXPECT_EQ((std::tuple{elf.set_data_encoding(encoding), int(elf.get_e_ident(EI_DATA)), std::string(elf.get_status_message())}),
              (std::tuple{encoding % 3 ? 0 : -1, encoding % 3, encoding % 3 ? "" : "invalid endian setting"}));
  }
  made.set_e_flags(0x11), made.set_e_flags(0x6), made.clear_e_flags(0x3), made.progress_to(OF_STATE_SAVED);
  EXPECT_EQ((std::tuple{made.get_e_flags(), made.set_e_ident(16, 1), made.get_e_ident(16), made.set_e_machine(7),
                        made.set_file_type(1), made.set_data_encoding(1), made.set_e_type(2), made.set_e_ident(7, 9),
                        made.get_e_type(), made.get_e_ident(7)}),  // past "locked" only e_type and e_ident change
            (std::tuple<uint32_t, int, uint8_t, int, int, int, int, int, uint16_t, uint8_t>{0x14, -1, 0, -1, -1, -1, 0,
                                                                                            0, 2, 9}));
  source.format = OF_FORMAT_COFF;  // the ELF interface of anything else stops the process
  unit::Ran stop = unit::inChild([&] {
    install_fatal_handler([](int signo) { fatal_signal(signo, "zolt", nullptr); }, nullptr);
    ELF_FILE_IMPL<64>(source).require_elf_interface();
  });
  EXPECT_TRUE(stop.status == 2 && stop.err.starts_with("\nINTERNAL ERROR: zolt experienced a segmentation fault\n"));
}

TEST(ObjectFile, LoadStatesAndStatusPrecedence) {
  struct MACHINE : OF_STATE_MACHINE {
    using OF_STATE_MACHINE::OF_STATE_MACHINE;
    std::string steps;
    int failing = 0;
    int progress_step(int32_t state) override { return steps += static_cast<char>('0' + state), state == failing; }
    int revert_step(int32_t state) override { return steps += static_cast<char>('a' + state), failing < 0; }
  };
  const std::string failed = "7 an error was encountered while ";
  for (auto [start, op, to, failing, result, end, steps, status] :
       {std::tuple<int, char, int, int, int, int, std::string, std::string>{0, 'm', 0, 0, 0, 0, "", "0 "},
        {1, 'm', 0, 0, -1, 1, "", refused("locked", "must be in at most", "open")},
        {0, 'l', 2, 0, -1, 0, "", refused("open", "must be in at least", "formatted")}, {2, 'l', 2, 0, 0, 2, "", "0 "},
        {0, 'p', 3, 0, 0, 3, "123", "0 "}, {1, 'p', 1, 0, 0, 1, "", "0 "},
        {3, 'p', 1, 0, -1, 3, "", refused("saved", "cannot revert to", "locked")},
        {0, 'p', 3, 2, -1, 0, "12", failed + "progressing an OBJECT_FILE object from the locked to the formatted state"},
        {0, 'p', 3, 3, -1, 0, "123", failed + "progressing an OBJECT_FILE object from the formatted to the saved state"},
        {3, 'r', 1, 0, 0, 1, "b", "0 "}, {2, 'r', 2, 0, 0, 2, "", "0 "},
        {1, 'r', 2, 0, -1, 1, "", refused("locked", "must be in at least", "formatted")},
        {2, 'r', 0, -1, -1, 2, "a", failed + "reverting an OBJECT_FILE object from the formatted to the open state"}}) {
    Opened owner(header(2, 1));
    MACHINE m(owner.object.get());
    m.progress_to(start), m.steps.clear(), m.failing = failing;
    const int got = op == 'm'   ? m.require_at_most(to)
                    : op == 'l' ? m.require_at_least(to)
                    : op == 'p' ? m.progress_to(to)
                                : m.revert_to(to);
    EXPECT_EQ(std::tuple(got, m.get_state(), m.steps, owner.status()), std::tuple(result, end, steps, status))
        << start << op << to;
  }
  EXPECT_EQ(std::string(state_name(-1)) + state_name(0) + state_name(1) + state_name(2) + state_name(3) + state_name(4),
            "unknownopenlockedformattedsavedunknown");
  Opened o(header(1, 1)), nine(header(1, 1)), three(header(1, 1));
  static std::string seen;  // what the callback is told: the recorded status again before each new report
  o.object->record_status(4, "first %d", 4);
  o.object->set_status_callback(
      [](OBJECT_FILE*, int32_t code, const char* text) { seen += std::to_string(code) + text + "|"; });
  for (auto [code, text] : {std::pair{6, "6"}, {8, "eight"}, {4, "4"}, {6, "6"}, {8, "8"}, {2, "two"}, {7, "7"}})
    o.object->record_status(code, "%s", text);
  EXPECT_EQ(seen, "4first 4|4first 4|4first 4|8eight|8eight|8eight|8eight|8eight|2two|2two|");
  nine.object->record_status(9, "nine"), nine.object->record_status(1, "one");
  three.object->record_status(3, "three"), three.object->record_status(0, "none");
  EXPECT_EQ(nine.status() + three.status(), "9 three3 three");  // one buffer holds the latest text
}

TEST(StringTable, ReadingAndAddingWithReuse) {
  OF_STRING_TABLE_MANAGER table;
  table.get_data().set_contents("\0a\0a\0ab\0xy", 10);  // the last text has no NUL
  EXPECT_EQ(std::string(table.get_string(0)) + "|" + table.get_string(3) + "|" + table.get_string(6) + "|" +
                table.get_string(8) + "|" + table.get_name(), "|a|b|xy|");
  uint32_t offset = 99;
  EXPECT_TRUE(!table.get_string(10) && !table.find_string("a", offset));  // the index is built by the first add
  for (auto [text, at] : {std::pair{"a", 3}, {"ab", 5}, {"xy", 8}, {"b", 10}, {"b", 10}, {"", 0}, {nullptr, 0}})
    EXPECT_EQ(table.add_string(text), at) << text;
  EXPECT_TRUE(table.find_string("ab", offset) && offset == 5 && !table.find_string("abc", offset));
  EXPECT_EQ(std::pair(table.get_data().size(), table.get_index_size()), std::pair(uint64_t{12}, size_t{5}));
  table.load();
  EXPECT_EQ((std::tuple{table.get_index_size(), table.clear(), table.add_string("q"), table.get_data().size()}),
            (std::tuple<size_t, int, int64_t, uint64_t>{0, 0, 0, 2}));
  Opened o(varied);
  ELF_STRING_TABLE* strings = o.elf()->get_elf_section_table()->find_section(".strtab", 0)->get_string_table();
  EXPECT_EQ(std::string(strings->get_name()) + strings->get_string(strings->add_string("global_function")),
            ".strtabglobal_function");
  EXPECT_EQ((std::tuple{strings->clear(), strings->add_string(""), strings->get_data().size(),
                        strings->progress_to(OF_STATE_LOCKED), strings->add_string("late"), strings->clear(), o.status()}),
            (std::tuple<int, int64_t, uint64_t, int, int64_t, int, std::string>{
                0, 0, 1, 0, -1, -1, refused("locked", "must be in at most", "open")}));
}

TEST(Symbols, ClassificationSettersAndMetadata) {
  EXPECT_EQ(std::string(symbol_kind_name(-1)) + symbol_kind_name(4) + symbol_kind_name(5) + symbol_kind_name(6) +
                symbol_binding_name(3) + symbol_binding_name(4) + symbol_type_name(6) + symbol_type_name(7),
            "unknowncommondebugunknownweakunknowntlsnone");
  Opened o(varied);
  ELF_SYMBOL* s = o.symbol("defined_global");
  for (int info = 0; info < 256; ++info) {
    s->set_st_info(static_cast<uint8_t>(info));
    ASSERT_EQ(std::pair(s->get_binding(), s->get_type()),
              std::pair(info < 0x30 ? (info >> 4) + 1 : 0, (info & 15) <= 6 ? info & 15 : 0)) << info;
  }
  for (int shndx = 0; shndx <= 0xFFFF; ++shndx) {
    s->set_st_shndx(static_cast<uint16_t>(shndx));
    const int kind = shndx == 0        ? 1
                     : shndx == 0xFFF1 ? 3
                     : shndx == 0xFFF2 ? 4
                                       : shndx < 0xFF00 || shndx == 0xFFFF ? 2 : 0;
    ASSERT_EQ(std::pair(s->get_kind(), s->is_section_relative_index()), std::pair(kind, kind == 2)) << shndx;
  }
  s->set_extended_index(77);
  EXPECT_EQ((std::tuple{s->get_section_id(), (s->set_st_shndx(0xFFFE), s->get_section_id()),
                        (s->set_section_relative(true), s->get_kind())}),
            (std::tuple{77u, 0xFFFEu, 2}));
  for (auto [kind, shndx] : {std::pair{1, 0}, {3, 0xFFF1}, {4, 0xFFF2}})
    EXPECT_EQ((s->set_extended_index(5), std::tuple{s->set_kind(kind), int(s->get_st_shndx()), s->get_extended_index()}),
              std::tuple(0, shndx, 0u));
  for (int binding : {1, 2, 3})
    EXPECT_EQ((std::tuple{s->set_binding(binding), int(s->get_st_info())}), std::tuple(0, (binding - 1) << 4 | 15));
  for (int type : {0, 6}) EXPECT_EQ((std::tuple{s->set_type(type), int(s->get_st_info())}), std::tuple(0, 0x20 | type));
  EXPECT_EQ(o.status(), "0 ");
  for (auto [change, text] : std::initializer_list<std::pair<int (*)(ELF_SYMBOL*), const char*>>{
           {[](ELF_SYMBOL* x) { return x->set_kind(2); },
            "To mark a symbol as being defined, you must use set_section_id() to set its section reference"},
           {[](ELF_SYMBOL* x) { return x->set_kind(0x1f); }, "Invalid symbol kind 1f"},
           {[](ELF_SYMBOL* x) { return x->set_kind(0); }, "Invalid symbol kind 0"},
           {[](ELF_SYMBOL* x) { return x->set_binding(4); }, "Invalid symbol binding value 0x4"},
           {[](ELF_SYMBOL* x) { return x->set_binding(0); }, "Invalid symbol binding value 0x0"},
           {[](ELF_SYMBOL* x) { return x->set_type(7); }, "Invalid symbol type value 0x7"},
           {[](ELF_SYMBOL* x) { return x->set_type(-1); }, "Invalid symbol type value 0xffffffff"}}) {
    Opened fresh(varied);
    ELF_SYMBOL* x = fresh.symbol("defined_global");
    const auto before = std::pair(x->get_st_info(), x->get_st_shndx());
    EXPECT_EQ((std::tuple{change(x), std::pair(x->get_st_info(), x->get_st_shndx()), fresh.status()}),
              std::tuple(-1, before, std::string("5 ") + text));
  }
  ELF_SYMBOL_TABLE* table = s->get_elf_table();
  EXPECT_TRUE(!table->get_symbol(table->get_num_symbols()) && !table->find_symbol("defined_global", s->get_index() + 1) &&
              table->find_symbol("defined_global", 0) == s);
  table->progress_to(OF_STATE_LOCKED), s->set_binding(2);  // edits are noted while the table is locked
  EXPECT_TRUE(table->is_changed(s->get_index()) && !table->is_changed(0));
  EXPECT_EQ((table->progress_to(OF_STATE_FORMATTED), s->set_kind(1)), -1);
  Opened bad(varied);
  static_cast<ELF_SYMBOL*>(bad.object->get_symbol_table()->get_symbol(0))->set_st_other(1);
  bad.object->get_symbol_table()->progress_to(OF_STATE_LOCKED);
  EXPECT_EQ(bad.status(), "7 symbol 0 is not a NULL symbol");
  OF_SYMBOL *a = table->get_symbol(1), *b = table->get_symbol(2), *c = table->get_symbol(3);
  a->set_alias(b), a->set_alias(c), a->set_alias(nullptr);
  EXPECT_TRUE(a->get_alias() == c && c->get_alias() == b && b->get_alias() == a && a->get_last_alias() == b);
  s->set_meta_flags(3), s->set_meta_text_a("x");  // no record: nothing kept
  EXPECT_EQ(std::to_string(s->get_meta_flags() + s->get_meta_word_a() + s->get_meta_word_b() + s->get_meta_high_water()) +
                s->get_meta_text_a(), "0");
  s->new_metadata(), s->set_meta_flags(3), s->set_meta_word_a(4), s->set_meta_word_b(5);
  s->set_meta_text_a("t"), s->set_meta_text_b(nullptr);
  s->set_meta_high_water(9), s->set_meta_high_water(8);
  EXPECT_EQ((std::tuple{s->get_meta_flags(), s->get_meta_word_a(), s->get_meta_word_b(), s->get_meta_high_water(),
                        std::string(s->get_meta_text_a()) + s->get_meta_text_b()}),
            (std::tuple{3u, 4u, 5u, 9u, std::string("t")}));
  // Symbol metadata: a version byte, then LEB128 kind, index and value.
  for (auto [bytes, index, flags, status] :
       {std::tuple{"1, 1, 3, 7, 6, 3, 0x82, 1, 4, 3, 'm', 0", 3, 7, "0 "},
        {"2, 1, 3, 7", 3, 0, "4 Invalid format specified for symbol metadata section (.symtab_meta)"},
        {"1, 1, 2, 5, 16, 3, 1, 1, 3, 9", 2, 5,
         "4 Invalid meta-info kind encountered in symbol metadata section (.symtab_meta)"}}) {
    Opened m(unit::compile(std::string(kSource) + "__attribute__((section(\".symtab_meta\"), used)) static const "
                                                  "unsigned char meta[] = {" + bytes + "};"));
    auto* symbol = static_cast<ELF_SYMBOL*>(m.object->get_symbol_table()->get_symbol(index));
    EXPECT_EQ((std::tuple{int(symbol->get_meta_flags()), symbol->get_meta_high_water(),
                          std::string(symbol->get_meta_text_a()), m.status()}),
              (std::tuple{flags, flags == 7 ? 130u : 0u, std::string(flags == 7 ? "m" : ""), std::string(status)}));
  }
}

TEST(Sections, StandardRowsAddedSectionsAndMachines) {
  // The standard section table: name, type, entry sizes, flags, unit bits (0: the target's).
  std::istringstream rows(
      ".bss 8 0 0 3 0 .comment 1 0 0 0 8 .data 1 0 0 3 0 .data1 1 0 0 3 0 .debug 1 0 0 0 8 .dynamic 6 8 16 2 8 "
      ".dynstr 3 1 1 34 8 .dynsym 11 16 24 2 8 .fini 1 0 0 6 0 .fini_array 15 0 0 3 0 .got 1 4 4 3 0 "
      ".hash 5 0 0 2 8 .init 1 0 0 6 0 .init_array 14 0 0 3 0 .interp 1 0 0 0 8 .line 1 0 0 0 8 .note 7 0 0 0 8 "
      ".plt 1 0 0 0 8 .preinit_array 16 0 0 3 0 .rel 9 8 16 0 8 .rela 4 12 24 0 8 .rodata 1 0 0 2 0 "
      ".rodata1 1 0 0 2 0 .shstrtab 3 1 1 32 8 .strtab 3 1 1 32 8 .symtab 2 16 24 0 8 .symtab_shndx 18 4 4 0 8 "
      ".tbss 8 0 0 1027 0 .tdata 1 0 0 1027 0 .tdata1 1 0 0 1027 0 .text 1 0 0 6 0 "
      "__QV_build_attributes 1879048195 0 0 0 8 .QV.section.flags 2130706437 0 0 0 8 "
      ".QV.symbol.alias 2130706438 0 0 0 8 .QV.section.page 2130706439 0 0 0 8 .gnu.version 1879048191 2 2 2 0 "
      ".gnu.version_d 1879048189 0 0 2 0 .gnu.version_r 1879048190 0 0 2 0");
  const STANDARD_SECTION_TABLE plain(false), versions(true);
  std::string name;
  STANDARD_SECTION w;
  for (int row = 0; rows >> name >> w.type >> w.entsize32 >> w.entsize64 >> w.flags >> w.unit_bits; ++row) {
    const STANDARD_SECTION *got = versions.lookup(name), *without = plain.lookup(name);
    ASSERT_TRUE(got) << name;
    EXPECT_EQ(std::tuple(got->type, got->entsize32, got->entsize64, got->flags, got->unit_bits, without != nullptr),
              std::tuple(w.type, w.entsize32, w.entsize64, w.flags, w.unit_bits, row < 35)) << name;
  }
  for (auto [lookup, type, flags] : {std::tuple{".text.hot", 1, 6}, {".rela.text", 4, 0}, {".rel.data", 9, 0},
                                     {".tbss.x", 8, 0x403}, {"mine_shndx", 18, 0}, {"mine_shndx", 18, 0},
                                     {"text", -1, 0}, {".gnu.version", -1, 0}, {"", -1, 0}}) {
    const STANDARD_SECTION* got = plain.lookup(lookup);
    EXPECT_EQ(std::pair(got ? int(got->type) : -1, got ? int(got->flags) : 0), std::pair(type, flags)) << lookup;
  }
  for (char cls : {1, 2}) {  // sections added in memory take their row's defaults by the file's class
    Opened o(header(cls, 1));
    ELF_SECTION_TABLE* table = o.elf()->get_elf_section_table();
    OF_SYMBOL_TABLE* empty = o.object->get_symbol_table();  // no ".symtab": one is added after the null section
    EXPECT_TRUE(empty && empty == o.object->get_symbol_table() && empty->get_num_symbols() == 0);
    ELF_SECTION *symtab = table->get_section(1), *dynsym = table->add_section(".dynsym");
    ELF_SYMBOL_TABLE* dynamic = dynsym->get_symbol_table();  // its ".dynstr" is added: section 3
    const uint64_t entry = cls == 1 ? 16 : 24;
    EXPECT_EQ((std::tuple{table->get_section(0)->get_sh_type(), std::string(symtab->get_name()), symtab->get_sh_type(),
                          symtab->get_sh_entsize(), dynsym->get_sh_flags(), dynsym->get_sh_entsize(),
                          dynsym->get_unit_bits(), dynamic->get_string_table()->get_section()->get_index(),
                          std::string(table->get_section(3)->get_name()), dynsym->get_sh_link(),
                          table->get_section_name_table()->get_section()->get_index(), o.elf()->get_e_shstrndx(),
                          table->add_section("odd")->get_symbol_table()}),
              (std::tuple<uint32_t, std::string, uint32_t, uint64_t, uint64_t, uint64_t, unsigned, uint32_t,
                          std::string, uint32_t, uint32_t, uint16_t, ELF_SYMBOL_TABLE*>{
                  0, ".symtab", 2, entry, 2, entry, 8, 3, ".dynstr", 3, 4, 4, nullptr}));
    dynsym->set_sh_type(1), dynsym->set_sh_link(0);
    EXPECT_EQ(dynamic->get_string_table(), nullptr);
    EXPECT_EQ(o.status(), "7 string table for symbol table \".dynsym\" not found");
    EXPECT_EQ((o.object->progress_to(OF_STATE_LOCKED), table->add_section(".late")), nullptr);
  }
  for (uint32_t family = 1; family <= 12; ++family)  // one code per target, both ways
    EXPECT_EQ(std::tuple(machine_family_from_elf(elf_machine_from_family(family)),
                         machine_family_from_coff_magic(static_cast<uint16_t>(0x8F + family)),
                         machine_family_from_coff_target(static_cast<uint16_t>(150 + family))),
              std::tuple(family, family, family));
  EXPECT_EQ(std::tuple(elf_machine_from_family(1), elf_machine_from_family(0), elf_machine_from_family(13),
                       machine_family_from_elf(0), machine_family_from_coff_magic(0x9C),
                       machine_family_from_coff_target(163)), std::tuple(40, 0, 0, 0u, 0u, 0u));
  OBJECT_FILE_SOURCE source;
  source.format = OF_FORMAT_ELF;
  ELF_FILE_IMPL<32> elf(source);
  EXPECT_TRUE(dynamic_cast<ZQ4_MACHINE_DB*>(create_machine_db(11, &elf).get()) &&
              !dynamic_cast<ZQ4_MACHINE_DB*>(create_machine_db(12, &elf).get()));
  ELF_SECTION* section = elf.get_elf_section_table()->add_section("x");
  for (uint8_t data : {0, 1, 2, 3})  // a section's byte order is the file's, when it has one
    EXPECT_EQ((elf.set_e_ident(EI_DATA, data), elf.get_machine_db().get_section_byte_order(*section)), data % 3);
}

TEST(SymbolScan, AgreesWithTheReaderOnCompiledObjects) {
  // Whether the scan took the bytes and found symbols; what it took must be what the reader reads.
  auto agrees = [](const std::string& bytes) {
    std::vector<SCANNED_SYMBOL> scanned;
    if (!scan_symbols(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), scanned)) return false;
    std::string rows, read;
    for (const SCANNED_SYMBOL& s : scanned) rows += s.name + (" " + std::to_string(s.binding * 10 + s.kind)) + "|";
    Opened o(bytes);
    OF_SYMBOL_TABLE* t = o.object ? o.object->get_symbol_table() : nullptr;
    for (uint32_t i = 0; t && i < t->get_num_symbols(); i = t->get_next_index(i))
      read += t->get_symbol(i)->get_name() + (" " + std::to_string(t->get_symbol(i)->get_binding() * 10 +
                                                                   t->get_symbol(i)->get_kind())) + "|";
    EXPECT_EQ(rows, read);
    return !rows.empty();
  };
  for (const char* compiler : {"gcc", "clang --target=i386-linux-gnu", "clang --target=mips-linux-gnu",
                               "clang --target=powerpc64-linux-gnu"}) {
    const std::string bytes = unit::compile(kSource, compiler);
    EXPECT_TRUE(bytes.empty() || agrees(bytes)) << compiler << " declined";
  }
  EXPECT_FALSE(agrees("!<arch>\n") || agrees(std::string("\x7f" "ELF\x02\x01", 6)) ||
               agrees(varied.substr(0, varied.size() / 2)));
  // Odd values in the host object (ELF64, little-endian) are answered as the
  // reader answers them; shapes the scan cannot answer so are left to the reader.
  Opened o(varied);
  const uint64_t shoff = o.elf()->get_e_shoff(), names = shoff + 64 * o.elf()->get_e_shstrndx();
  ELF_SECTION* symtab = o.elf()->get_elf_section_table()->find_section(".symtab", 0);
  const uint64_t table = shoff + 64 * symtab->get_index(),
                 global = symtab->get_sh_offset() + 24 * o.symbol("global_function")->get_index();
  for (auto [at, width, value, taken] : {std::tuple<uint64_t, int, uint64_t, bool>{global + 4, 1, 0x42, true},
        {global + 6, 2, 0xFF00, true}, {global + 6, 2, 0xFFF1, true}, {global + 6, 2, 0xFFF2, true},
        {global, 4, 0xFFFFFF, true}, {table + 32, 8, symtab->get_sh_size() + 3, true}, {names + 32, 8, 1, false},
        {global + 6, 2, 0xFFFF, false}, {60, 2, 0, false}, {62, 2, 0xFFFF, false}, {62, 2, 0, false},
        {58, 2, 72, false}, {table + 56, 8, 0, false}, {table + 4, 4, 11, false}, {table + 40, 4, 0, false},
        {table + 40, 4, 999, false}}) {
    std::string bytes = varied;
    for (int i = 0; i < width; ++i) bytes[at + i] = static_cast<char>(value >> (8 * i));
    EXPECT_EQ(agrees(bytes), taken) << at << " " << value;
  }
}
