// The object library where the archiver does not reach it: recognition, load
// states and the status rules, header setters, string tables built with
// reuse, symbol classification and setters, metadata, the standard sections,
// the machine tables; and the quick symbol scan against the full reader.
#include <gtest/gtest.h>

#include <csignal>
#include <cstring>

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
  for (auto [bytes, made, cls, encoding, version, family] :
       {std::tuple<std::string, bool, int, int, int, int>{header(1, 1), true, 1, 1, 4, 1},
        {header(2, 2, 0x5A0B), true, 2, 2, 4, 11}, {header(0, 0, 40, 2), true, 2, 2, 0, 1},
        {header(3, 3, 41), true, 2, 2, 4, 0}, {"\x7f" "ELF", true, 2, 2, 0, 0}, {"\x7f" "EL", false, 0, 0, 0, 0},
        {std::string("\xc2\0", 2) + header(1, 1).substr(2), false, 0, 0, 0, 0}, {"", false, 0, 0, 0, 0}}) {
    Opened o(bytes);
    ASSERT_EQ(o.object != nullptr, made) << bytes.size();
    if (!made) continue;
    const OBJECT_FILE_SOURCE& s = o.object->get_source();
    EXPECT_EQ(std::vector<int>({int(s.elf_class), int(s.encoding), int(s.version), int(s.machine_family), int(s.size)}),
              std::vector<int>({cls, encoding, version, family, int(bytes.size())}));
  }
  unit::Ran r = unit::inChild([] {
    DIAG::diag_cols = 1000;
    Opened member(header(1, 1), 8), whole(header(1, 1)), sized(header(1, 1), 8, 64);
    std::printf("%d %d %d ", member.object == nullptr, int(sized.object->get_source().start),
                int(sized.object->get_serial() - whole.object->get_serial()));
    // Maps hold 31-bit file offsets: a byte further cannot be sought.
    DATA_MAP map;
    for (auto [o, offset] : {std::pair{&whole, INT32_MAX}, {&whole, INT32_MAX + 1L}, {&sized, INT32_MAX - 8L},
                             {&sized, INT32_MAX - 7L}})
      o->object->get_file_data(offset, 1, map), std::printf("%d", map.read_u8());
  });
  EXPECT_EQ(r.out, "1 8 1 0000");
  EXPECT_EQ(r.err, "error: a file size must be specified when reading an archive member; OBJECT_FILE not created\n" +
                       unit::appError("pfseeko called with SEEK_SET, but offset is negative") +
                       unit::appError("pfseeko called with SEEK_SET, but offset is negative"));
  // Without a stream, the defaults of a new object show, and reading fails.
  OBJECT_FILE_SOURCE source;
  source.format = OF_FORMAT_ELF;
  source.machine_family = MACHINE_FAMILY_ZQ4;
  ELF_FILE_IMPL<64> made(source);
  EXPECT_EQ(std::vector<int>({made.get_e_machine(), made.get_e_ident(EI_DATA), made.get_e_type(), int(made.get_flags())}),
            std::vector<int>({0x5A0B, 1, 1, 256}));
  EXPECT_EQ(made.read_file_header(), -1);
  EXPECT_STREQ(made.get_status_message(), "illegal call to OBJECT_FILE::get_file_data() when the OBJECT_FILE "
                                          "object was not read from an input file");
  for (auto [kind, type] : {std::pair{1, 1}, {2, 2}, {3, 3}, {4, 0xE001}, {5, 4}, {0, -1}, {6, -1}}) {
    ELF_FILE_IMPL<32> elf(source);
    EXPECT_EQ(elf.set_file_type(kind), type < 0 ? -1 : 0);
    EXPECT_EQ(elf.get_e_type(), std::max(type, 0));
    EXPECT_STREQ(elf.get_status_message(), type < 0 ? "invalid file type" : "");
  }
  for (int encoding : {0, 1, 2, 3}) {
    ELF_FILE_IMPL<32> elf(source);
    EXPECT_EQ(elf.set_data_encoding(encoding), encoding == 1 || encoding == 2 ? 0 : -1);
    EXPECT_EQ(elf.get_e_ident(EI_DATA), encoding % 3);
    EXPECT_STREQ(elf.get_status_message(), encoding % 3 ? "" : "invalid endian setting");
  }
  made.set_e_flags(0x11), made.set_e_flags(0x6), made.clear_e_flags(0x3);
  EXPECT_EQ(made.get_e_flags(), 0x14u);
  EXPECT_EQ(made.set_e_ident(16, 1) + made.get_e_ident(16), -1);
  made.progress_to(OF_STATE_SAVED);
  EXPECT_EQ(made.set_e_machine(7) + made.set_file_type(1) + made.set_data_encoding(1), -3);
  EXPECT_EQ(made.set_e_type(2) + made.set_e_ident(7, 9), 0);  // no state check
  EXPECT_EQ(made.get_e_machine() + made.get_e_type() + made.get_e_ident(7), 0x5A0B + 2 + 9);
  source.format = OF_FORMAT_COFF;
  unit::Ran stop = unit::inChild([&] {
    install_fatal_handler([](int signo) { fatal_signal(signo, "zolt", nullptr); }, nullptr);
    ELF_FILE_IMPL<64>(source).require_elf_interface();
  });
  EXPECT_EQ(stop.status, 2);
  EXPECT_TRUE(stop.err.starts_with("\nINTERNAL ERROR: zolt experienced a segmentation fault\n")) << stop.err;
}

TEST(ObjectFile, LoadStatesAndStatusPrecedence) {
  struct MACHINE : OF_STATE_MACHINE {
    using OF_STATE_MACHINE::OF_STATE_MACHINE;
    std::string steps;
    int failing = 0;
    int progress_step(int32_t state) override { return steps += static_cast<char>('0' + state), state == failing; }
    int revert_step(int32_t state) override { return steps += static_cast<char>('a' + state), failing < 0; }
  };
  const std::string progressing = "7 an error was encountered while progressing an OBJECT_FILE object from the ",
                    reverting = "7 an error was encountered while reverting an OBJECT_FILE object from the ";
  for (auto [start, op, to, failing, result, end, steps, status] :
       {std::tuple<int, char, int, int, int, int, std::string, std::string>{0, 'm', 0, 0, 0, 0, "", "0 "},
        {1, 'm', 0, 0, -1, 1, "", refused("locked", "must be in at most", "open")},
        {0, 'l', 2, 0, -1, 0, "", refused("open", "must be in at least", "formatted")},
        {2, 'l', 2, 0, 0, 2, "", "0 "}, {0, 'p', 3, 0, 0, 3, "123", "0 "}, {1, 'p', 1, 0, 0, 1, "", "0 "},
        {3, 'p', 1, 0, -1, 3, "", refused("saved", "cannot revert to", "locked")},
        {0, 'p', 3, 2, -1, 0, "12", progressing + "locked to the formatted state"},
        {0, 'p', 3, 3, -1, 0, "123", progressing + "formatted to the saved state"},
        {3, 'r', 1, 0, 0, 1, "b", "0 "}, {2, 'r', 2, 0, 0, 2, "", "0 "},
        {1, 'r', 2, 0, -1, 1, "", refused("locked", "must be in at least", "formatted")},
        {2, 'r', 0, -1, -1, 2, "a", reverting + "formatted to the open state"}}) {
    Opened owner(header(2, 1));
    MACHINE machine(owner.object.get());
    machine.progress_to(start);
    machine.steps.clear();
    machine.failing = failing;
    int got = op == 'm' ? machine.require_at_most(to) : op == 'l' ? machine.require_at_least(to)
            : op == 'p' ? machine.progress_to(to) : machine.revert_to(to);
    EXPECT_EQ(std::tuple(got, machine.get_state(), machine.steps, owner.status()), std::tuple(result, end, steps, status))
        << start << op << to;
  }
  EXPECT_EQ(std::string(state_name(-1)) + state_name(0) + state_name(1) + state_name(2) + state_name(3) + state_name(4),
            "unknownopenlockedformattedsavedunknown");
  Opened o(header(1, 1));
  static std::string seen;
  o.object->record_status(4, "first %d", 4);
  o.object->set_status_callback([](OBJECT_FILE*, int32_t code, const char* text) { seen += std::to_string(code) + text + "|"; });
  for (auto [code, text] : {std::pair{6, "6"}, {8, "eight"}, {4, "4"}, {6, "6"}, {8, "8"}, {2, "two"}, {7, "7"}})
    o.object->record_status(code, "%s", text);
  EXPECT_EQ(seen, "4first 4|4first 4|4first 4|8eight|8eight|8eight|8eight|8eight|2two|2two|");
  Opened nine(header(1, 1)), three(header(1, 1));
  nine.object->record_status(9, "nine"), nine.object->record_status(1, "one");
  three.object->record_status(3, "three"), three.object->record_status(0, "none");
  EXPECT_EQ(nine.status() + three.status(), "9 three3 three");  // one buffer holds the latest text
}

TEST(StringTable, ReadingAndAddingWithReuse) {
  OF_STRING_TABLE_MANAGER table;
  table.get_data().set_contents("\0a\0a\0ab\0xy", 10);  // the last text has no NUL
  EXPECT_EQ(std::string(table.get_string(0)) + "|" + table.get_string(3) + "|" + table.get_string(6) + "|" +
                table.get_string(8) + "|" + table.get_name(),
            "|a|b|xy|");
  EXPECT_EQ(table.get_string(10), nullptr);
  uint32_t offset = 99;
  EXPECT_FALSE(table.find_string("a", offset));  // the index is built by the first add
  for (auto [text, at] : {std::pair{"a", 3}, {"ab", 5}, {"xy", 8}, {"b", 10}, {"b", 10}, {"", 0}, {nullptr, 0}})
    EXPECT_EQ(table.add_string(text), at) << text;
  EXPECT_TRUE(table.find_string("ab", offset) && offset == 5 && !table.find_string("abc", offset));
  EXPECT_EQ(table.get_data().size(), 12u);
  EXPECT_EQ(table.get_index_size(), 5u);
  table.load();
  EXPECT_EQ(table.get_index_size(), 0u);
  EXPECT_EQ(table.clear(), 0);
  EXPECT_EQ(table.add_string("q") + table.get_data().size(), 2u);
  Opened o(varied);
  ELF_STRING_TABLE* strings = o.elf()->get_elf_section_table()->find_section(".strtab", 0)->get_string_table();
  EXPECT_STREQ(strings->get_name(), ".strtab");
  EXPECT_STREQ(strings->get_string(strings->add_string("global_function")), "global_function");
  EXPECT_EQ(strings->clear() + strings->add_string("") + strings->get_data().size(), 1u);
  strings->progress_to(OF_STATE_LOCKED);
  EXPECT_EQ(strings->add_string("late") + strings->clear(), -2);
  EXPECT_EQ(o.status(), refused("locked", "must be in at most", "open"));
}

TEST(Symbols, ClassificationSettersAndMetadata) {
  EXPECT_EQ(std::string(symbol_kind_name(-1)) + symbol_kind_name(4) + symbol_kind_name(5) + symbol_kind_name(6) +
                symbol_binding_name(3) + symbol_binding_name(4) + symbol_type_name(6) + symbol_type_name(7),
            "unknowncommondebugunknownweakunknowntlsnone");
  Opened o(varied);
  ELF_SYMBOL* s = o.symbol("defined_global");
  for (int info = 0; info < 256; ++info) {
    s->set_st_info(static_cast<uint8_t>(info));
    ASSERT_EQ(s->get_binding(), info < 0x30 ? (info >> 4) + 1 : 0) << info;
    ASSERT_EQ(s->get_type(), (info & 15) <= 6 ? info & 15 : 0) << info;
  }
  for (int shndx = 0; shndx <= 0xFFFF; ++shndx) {
    s->set_st_shndx(static_cast<uint16_t>(shndx));
    const int kind = shndx == 0 ? 1 : shndx == 0xFFF1 ? 3 : shndx == 0xFFF2 ? 4 : shndx < 0xFF00 || shndx == 0xFFFF ? 2 : 0;
    ASSERT_EQ(s->get_kind(), kind) << shndx;
    ASSERT_EQ(s->is_section_relative_index(), kind == 2) << shndx;
  }
  s->set_extended_index(77);
  EXPECT_EQ(s->get_section_id(), 77u);
  s->set_st_shndx(0xFFFE);
  EXPECT_EQ(s->get_section_id(), 0xFFFEu);
  s->set_section_relative(true);
  EXPECT_EQ(s->get_kind(), 2);
  for (auto [kind, shndx] : {std::pair{1, 0}, {3, 0xFFF1}, {4, 0xFFF2}}) {
    s->set_extended_index(5);
    EXPECT_EQ(s->set_kind(kind) + s->get_st_shndx() + s->get_extended_index(), shndx);
  }
  for (int binding : {1, 2, 3}) EXPECT_EQ(s->set_binding(binding) + s->get_st_info(), ((binding - 1) << 4) | 0xF);
  for (int type : {0, 6}) EXPECT_EQ(s->set_type(type) + s->get_st_info(), 0x20 | type);
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
    const uint8_t info = x->get_st_info();
    const uint16_t shndx = x->get_st_shndx();
    EXPECT_EQ(change(x), -1);
    EXPECT_EQ(std::pair(x->get_st_info(), x->get_st_shndx()), std::pair(info, shndx));
    EXPECT_EQ(fresh.status(), std::string("5 ") + text);
  }
  ELF_SYMBOL_TABLE* table = s->get_elf_table();
  EXPECT_EQ(table->get_symbol(table->get_num_symbols()), nullptr);
  EXPECT_EQ(table->find_symbol("defined_global", s->get_index() + 1), nullptr);
  EXPECT_EQ(table->find_symbol("defined_global", 0), s);
  table->progress_to(OF_STATE_LOCKED);
  s->set_binding(2);
  EXPECT_TRUE(table->is_changed(s->get_index()) && !table->is_changed(0));
  table->progress_to(OF_STATE_FORMATTED);
  EXPECT_EQ(s->set_kind(1), -1);
  Opened bad(varied);
  static_cast<ELF_SYMBOL*>(bad.object->get_symbol_table()->get_symbol(0))->set_st_other(1);
  bad.object->get_symbol_table()->progress_to(OF_STATE_LOCKED);
  EXPECT_EQ(bad.status(), "7 symbol 0 is not a NULL symbol");
  OF_SYMBOL *a = table->get_symbol(1), *b = table->get_symbol(2), *c = table->get_symbol(3);
  a->set_alias(b), a->set_alias(c), a->set_alias(nullptr);
  EXPECT_TRUE(a->get_alias() == c && c->get_alias() == b && b->get_alias() == a && a->get_last_alias() == b);
  s->set_meta_flags(3);
  EXPECT_EQ(s->get_meta_flags() + s->get_meta_high_water(), 0u);
  s->new_metadata();
  s->set_meta_flags(3), s->set_meta_word_a(4), s->set_meta_word_b(5), s->set_meta_text_a("t"), s->set_meta_text_b(nullptr);
  s->set_meta_high_water(9), s->set_meta_high_water(8);
  EXPECT_EQ(std::to_string(s->get_meta_flags() * 1000 + s->get_meta_word_a() * 100 + s->get_meta_word_b() * 10 +
                           s->get_meta_high_water()) + s->get_meta_text_a() + s->get_meta_text_b(), "3459t");
  // Symbol metadata: a version byte, then LEB128 kind, index and value.
  for (auto [bytes, status, index, flags] :
       {std::tuple{"1, 1, 3, 7, 6, 3, 0x82, 1, 4, 3, 'm', 0", "0 ", 3, 7}, {"2, 1, 3, 7", "4 Invalid format "
        "specified for symbol metadata section (.symtab_meta)", 3, 0}, {"1, 1, 2, 5, 16, 3, 1, 1, 3, 9", "4 Invalid "
        "meta-info kind encountered in symbol metadata section (.symtab_meta)", 2, 5}}) {
    Opened m(unit::compile(std::string(kSource) + "__attribute__((section(\".symtab_meta\"), used)) static const "
                                                  "unsigned char meta[] = {" + bytes + "};"));
    auto* symbol = static_cast<ELF_SYMBOL*>(m.object->get_symbol_table()->get_symbol(index));
    EXPECT_EQ(symbol->get_meta_flags(), uint32_t(flags));
    EXPECT_EQ(m.status(), status);
    if (index == 3) {
      EXPECT_EQ(std::to_string(symbol->get_meta_high_water()) + symbol->get_meta_text_a(), flags ? "130m" : "0");
    }
  }
}

TEST(Sections, StandardRowsAddedSectionsAndMachines) {
  // The standard section table: name, type, entry sizes, flags, unit bits.
  std::istringstream rows(
      ".bss 8 0 0 3 0 .comment 1 0 0 0 8 .data 1 0 0 3 0 .data1 1 0 0 3 0 .debug 1 0 0 0 8 .dynamic 6 8 16 2 8 "
      ".dynstr 3 1 1 34 8 .dynsym 11 16 24 2 8 .fini 1 0 0 6 0 .fini_array 15 0 0 3 0 .got 1 4 4 3 0 .hash 5 0 0 2 8 "
      ".init 1 0 0 6 0 .init_array 14 0 0 3 0 .interp 1 0 0 0 8 .line 1 0 0 0 8 .note 7 0 0 0 8 .plt 1 0 0 0 8 "
      ".preinit_array 16 0 0 3 0 .rel 9 8 16 0 8 .rela 4 12 24 0 8 .rodata 1 0 0 2 0 .rodata1 1 0 0 2 0 "
      ".shstrtab 3 1 1 32 8 .strtab 3 1 1 32 8 .symtab 2 16 24 0 8 .symtab_shndx 18 4 4 0 8 .tbss 8 0 0 1027 0 "
      ".tdata 1 0 0 1027 0 .tdata1 1 0 0 1027 0 .text 1 0 0 6 0 __QV_build_attributes 1879048195 0 0 0 8 "
      ".QV.section.flags 2130706437 0 0 0 8 .QV.symbol.alias 2130706438 0 0 0 8 .QV.section.page 2130706439 0 0 0 8 "
      ".gnu.version 1879048191 2 2 2 0 .gnu.version_d 1879048189 0 0 2 0 .gnu.version_r 1879048190 0 0 2 0");
  const STANDARD_SECTION_TABLE plain(false), versions(true);
  std::string name;
  STANDARD_SECTION want;
  for (int row = 0; rows >> name >> want.type >> want.entsize32 >> want.entsize64 >> want.flags >> want.unit_bits; ++row) {
    const STANDARD_SECTION *got = versions.lookup(name), *without = plain.lookup(name);
    ASSERT_TRUE(got) << name;
    EXPECT_EQ(std::tuple(got->type, got->entsize32, got->entsize64, got->flags, got->unit_bits),
              std::tuple(want.type, want.entsize32, want.entsize64, want.flags, want.unit_bits)) << name;
    EXPECT_EQ(without ? without->type : 0u, row < 35 ? want.type : 0u) << name;
  }
  for (auto [lookup, type] : {std::pair{".text.hot", 1}, {".rela.text", 4}, {".rel.data", 9}, {".tbss.x", 8},
                              {"mine_shndx", 18}, {"mine_shndx", 18}, {"text", -1}, {".gnu.version", -1}, {"", -1}}) {
    const STANDARD_SECTION* got = plain.lookup(lookup);
    EXPECT_EQ(got ? int(got->type) : -1, type) << lookup;
  }
  EXPECT_EQ(plain.lookup(".tbss.x")->flags + plain.lookup(".text.hot")->flags, 0x409u);
  // Sections added in memory take their row's defaults by the file's class.
  for (char cls : {1, 2}) {
    Opened o(header(cls, 1));
    ELF_SECTION_TABLE* table = o.elf()->get_elf_section_table();
    OF_SYMBOL_TABLE* empty = o.object->get_symbol_table();  // no ".symtab": one is added
    EXPECT_TRUE(empty && empty == o.object->get_symbol_table() && empty->get_num_symbols() == 0);
    ELF_SECTION* symtab = table->get_section(1);
    EXPECT_EQ(std::tuple(table->get_num_sections(), table->get_section(0)->get_sh_type(), symtab->get_sh_type(),
                         symtab->get_sh_entsize(), std::string(symtab->get_name())),
              std::tuple(2u, 0u, 2u, cls == 1 ? 16u : 24u, std::string(".symtab")));
    ELF_SECTION* dynsym = table->add_section(".dynsym");
    EXPECT_EQ(std::tuple(dynsym->get_index(), dynsym->get_sh_flags(), dynsym->get_sh_entsize(), dynsym->get_unit_bits()),
              std::tuple(2u, 2u, cls == 1 ? 16u : 24u, 8u));
    ELF_SYMBOL_TABLE* dynamic = dynsym->get_symbol_table();
    ELF_SECTION* dynstr = dynamic->get_string_table()->get_section();
    EXPECT_EQ(dynstr, table->get_section(3));
    EXPECT_EQ(std::string(table->get_section(3)->get_name()) + std::to_string(dynsym->get_sh_link()), ".dynstr3");
    EXPECT_EQ(table->get_section_name_table()->get_section()->get_index() + o.elf()->get_e_shstrndx(), 8u);
    EXPECT_EQ(table->add_section("odd")->get_symbol_table(), nullptr);
    dynsym->set_sh_type(1), dynsym->set_sh_link(0);
    EXPECT_EQ(dynamic->get_string_table(), nullptr);
    EXPECT_EQ(o.status(), "7 string table for symbol table \".dynsym\" not found");
    o.object->progress_to(OF_STATE_LOCKED);
    EXPECT_EQ(table->add_section(".late"), nullptr);
  }
  // Machine families: one code per target, 40 for family 1, both ways.
  for (uint32_t family = 1; family <= 12; ++family) {
    EXPECT_EQ(machine_family_from_elf(elf_machine_from_family(family)), family);
    EXPECT_EQ(machine_family_from_coff_magic(static_cast<uint16_t>(0x8F + family)), family);
    EXPECT_EQ(machine_family_from_coff_target(static_cast<uint16_t>(150 + family)), family);
  }
  EXPECT_EQ(elf_machine_from_family(1) + elf_machine_from_family(0) + elf_machine_from_family(13), 40);
  EXPECT_EQ(machine_family_from_elf(0) + machine_family_from_coff_magic(0x9C) + machine_family_from_coff_target(163), 0u);
  OBJECT_FILE_SOURCE source;
  source.format = OF_FORMAT_ELF;
  ELF_FILE_IMPL<32> elf(source);
  EXPECT_EQ(dynamic_cast<ZQ4_MACHINE_DB*>(create_machine_db(11, &elf).get()) != nullptr, true);
  EXPECT_EQ(dynamic_cast<ZQ4_MACHINE_DB*>(create_machine_db(12, &elf).get()), nullptr);
  ELF_SECTION* section = elf.get_elf_section_table()->add_section("x");
  for (uint8_t data : {0, 1, 2, 3}) {
    elf.set_e_ident(EI_DATA, data);
    EXPECT_EQ(elf.get_machine_db().get_section_byte_order(*section), data % 3);
  }
}

TEST(SymbolScan, AgreesWithTheReaderOnCompiledAndPatchedObjects) {
  struct Row { std::string name; int binding, kind; bool operator==(const Row&) const = default; };
  auto reader = [](const std::string& bytes) {
    Opened o(bytes);
    std::vector<Row> rows;
    OF_SYMBOL_TABLE* table = o.object ? o.object->get_symbol_table() : nullptr;
    for (uint32_t i = 0; table && i < table->get_num_symbols(); i = table->get_next_index(i))
      rows.push_back({table->get_symbol(i)->get_name(), table->get_symbol(i)->get_binding(), table->get_symbol(i)->get_kind()});
    return rows;
  };
  // Whether the scan took the bytes; what it took must be what the reader reads.
  auto agrees = [&](const std::string& bytes) {
    std::vector<SCANNED_SYMBOL> scanned;
    if (!scan_symbols(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), scanned)) return false;
    std::vector<Row> rows;
    for (const SCANNED_SYMBOL& s : scanned) rows.push_back({s.name, s.binding, s.kind});
    EXPECT_EQ(rows, reader(bytes));
    return true;
  };
  for (const char* compiler : {"gcc", "clang --target=i386-linux-gnu", "clang --target=mips-linux-gnu",
                               "clang --target=powerpc64-linux-gnu", "clang --target=armv7-linux-gnueabihf"}) {
    const std::string bytes = unit::compile(kSource, compiler);
    EXPECT_TRUE(bytes.empty() || agrees(bytes)) << compiler << " declined";
    EXPECT_TRUE(bytes.empty() || reader(bytes).size() > 8) << compiler;
  }
  for (const std::string& bytes : {std::string("x"), std::string("!<arch>\n"), std::string(100, '\0')})
    EXPECT_TRUE(agrees(bytes));
  EXPECT_FALSE(agrees(std::string("\x7f" "ELF\x02\x01", 6)) || agrees(varied.substr(0, varied.size() / 2)));
  // Patched copies of the host object (ELF64, little-endian): odd values the
  // scan answers as the reader does, and shapes it leaves to the reader.
  Opened o(varied);
  const uint64_t shoff = o.elf()->get_e_shoff(), names = o.elf()->get_e_shstrndx();
  ELF_SECTION* symtab = o.elf()->get_elf_section_table()->find_section(".symtab", 0);
  const uint64_t table = shoff + 64 * symtab->get_index(), global = symtab->get_sh_offset() + 24 * o.symbol("global_function")->get_index();
  for (auto [at, width, value, taken] :
       {std::tuple<uint64_t, int, uint64_t, bool>{global + 4, 1, 0x42, true}, {global + 6, 2, 0xFF00, true},
        {global + 6, 2, 0xFFF1, true}, {global + 6, 2, 0xFFF2, true}, {global + 6, 2, 0xFFFE, true},
        {global, 4, 0xFFFFFF, true}, {table + 32, 8, symtab->get_sh_size() + 3, true}, {global + 6, 2, 0xFFFF, false},
        {60, 2, 0, false}, {62, 2, 0xFFFF, false}, {62, 2, 0, false}, {58, 2, 72, false}, {table + 56, 8, 0, false},
        {table + 4, 4, 11, false}, {table + 4, 4, 3, false}, {table + 40, 4, 0, false}, {table + 40, 4, 999, false},
        {shoff + 64 * names + 32, 8, 1, true}}) {
    std::string bytes = varied;
    for (int i = 0; i < width; ++i) bytes[at + i] = static_cast<char>(value >> (8 * i));
    EXPECT_EQ(agrees(bytes), taken) << at << " " << value;
  }
}
