// The object library where the archiver does not reach it: recognition, load
// states and the status rules, header setters, string tables built with
// reuse, symbol classification and setters, metadata, the standard sections,
// the machine tables; and the quick symbol scan against the full reader.
#include <gtest/gtest.h>

#include "DIAG/diag.h"
#include "objfile/elf_file.h"
#include "objfile/section_table.h"
#include "objfile/string_table.h"
#include "objfile/symbol_scan.h"
#include "unit.h"

using namespace OFE;
using unit::Seq;

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

// Writes `value` little-endian over `width` bytes at `at`.
void put(std::string& bytes, uint64_t at, int width, uint64_t value) {
  for (int i = 0; i < width; ++i) bytes[at + i] = static_cast<char>(value >> (8 * i));
}

}  // namespace

TEST(ObjectFile, RecognitionAndTheFileHeader) {
  // Only the magic decides: a class or byte order other than 1 reads as 2. Class, order, version, family, size.
  for (auto [bytes, read] : {std::pair{header(1, 1, 0x5A02), "1 1 4 2 64"}, {header(2, 2, 0x5A0B), "2 2 4 11 64"},
                             {header(0, 0, 40, 2), "2 2 0 1 64"}, {header(3, 3, 41), "2 2 4 0 64"},
                             {"\x7f" "ELF", "2 2 0 0 4"}, {"\x7f" "EL", "none"}, {std::string("\xc2", 2), "none"}}) {
    Opened o(bytes);
    const OBJECT_FILE_SOURCE* s = o.object ? &o.object->get_source() : nullptr;
    EXPECT_EQ(s ? (Seq{s->elf_class, s->encoding, s->version, s->machine_family, s->size}.text) : "none", read);
  }
  unit::Ran r = unit::inChild([] {
    DIAG::diag_cols = 1000;
    Opened member(header(1, 1), 8), whole(header(1, 1)), sized(header(1, 1), 8, 64);
    std::printf("%d %d %d ", !member.object, int(sized.object->get_source().start),
                int(sized.object->get_serial() - whole.object->get_serial()));
    DATA_MAP map;  // maps hold 31-bit file offsets: a byte further is reported and read where the stream stands
    for (auto [o, at] : {std::pair{&whole, INT32_MAX}, {&whole, INT32_MAX + 1L}, {&sized, INT32_MAX - 8L},
                         {&sized, INT32_MAX - 7L}})
      o->object->get_file_data(at, 1, map), std::printf("%d", map.read_u8());
  });
  const std::string negative = unit::appError("pfseeko called with SEEK_SET, but offset is negative");
  EXPECT_EQ(r.out + r.err, "1 8 1 01270127error: a file size must be specified when reading an archive member; "
                           "OBJECT_FILE not created\n" + negative + negative);
  OBJECT_FILE_SOURCE source;  // without a stream: the defaults of a new object show, and reading fails
  source.format = OF_FORMAT_ELF, source.machine_family = MACHINE_FAMILY_ZQ4;
  ELF_FILE_IMPL<64> made(source);
  EXPECT_EQ((Seq{made.get_e_machine(), made.get_e_ident(EI_DATA), made.get_e_type(), made.get_flags(),
                 made.read_file_header(), made.get_status_message()}.text),
            "23051 1 1 256 -1 illegal call to OBJECT_FILE::get_file_data() when the OBJECT_FILE object was not read "
            "from an input file");
  for (auto [kind, type] : {std::pair{1, "0 1 "}, {2, "0 2 "}, {3, "0 3 "}, {4, "0 57345 "}, {5, "0 4 "},
                            {0, "-1 0 invalid file type"}, {6, "-1 0 invalid file type"}}) {
    ELF_FILE_IMPL<32> elf(source);
    EXPECT_EQ((Seq{elf.set_file_type(kind), elf.get_e_type(), elf.get_status_message()}.text), type);
  }
  for (auto [encoding, set] : {std::pair{0, "-1 0 invalid endian setting"}, {1, "0 1 "}, {2, "0 2 "},
                               {3, "-1 0 invalid endian setting"}}) {
    ELF_FILE_IMPL<32> elf(source);
    EXPECT_EQ((Seq{elf.set_data_encoding(encoding), elf.get_e_ident(EI_DATA), elf.get_status_message()}.text), set);
  }
  made.progress_to(OF_STATE_SAVED);  // past "locked" only e_type and e_ident change
  EXPECT_EQ((Seq{made.set_e_machine(7), made.set_file_type(1), made.set_data_encoding(1), made.set_e_type(2),
                 made.get_e_machine(), made.get_e_type()}.text), "-1 -1 -1 0 23051 2");
}

TEST(ObjectFile, LoadStatesAndStatusPrecedence) {
  struct MACHINE : OF_STATE_MACHINE {
    using OF_STATE_MACHINE::OF_STATE_MACHINE;
    std::string steps;
    int failing = 0;
    int progress_step(int32_t state) override { return steps += static_cast<char>('0' + state), state == failing; }
    int revert_step(int32_t state) override { return steps += static_cast<char>('a' + state), failing < 0; }
  };
  const std::string progressing = "7 an error was encountered while progressing an OBJECT_FILE object from the ";
  // From a state, an operation to a state with a step failing: result, state, steps run, status.
  for (auto [start, op, to, failing, after] : std::initializer_list<std::tuple<int, char, int, int, std::string>>{
           {0, 'm', 0, 0, "0 0  0 "}, {1, 'm', 0, 0, "-1 1  " + refused("locked", "must be in at most", "open")},
           {0, 'l', 2, 0, "-1 0  " + refused("open", "must be in at least", "formatted")}, {2, 'l', 2, 0, "0 2  0 "},
           {0, 'p', 3, 0, "0 3 123 0 "},
           {3, 'p', 1, 0, "-1 3  " + refused("saved", "cannot revert to", "locked")},
           {0, 'p', 3, 2, "-1 0 12 " + progressing + "locked to the formatted state"},
           {0, 'p', 3, 3, "-1 0 123 " + progressing + "formatted to the saved state"},
           {3, 'r', 1, 0, "0 1 b 0 "}, {2, 'r', 2, 0, "0 2  0 "},
           {1, 'r', 2, 0, "-1 1  " + refused("locked", "must be in at least", "formatted")},
           {2, 'r', 0, -1, "-1 2 a 7 an error was encountered while reverting an OBJECT_FILE object from the formatted "
                           "to the open state"}}) {
    Opened owner(header(2, 1));
    MACHINE m(owner.object.get());
    m.progress_to(start), m.steps.clear(), m.failing = failing;
    const int got = op == 'm' ? m.require_at_most(to) : op == 'l' ? m.require_at_least(to)
                  : op == 'p' ? m.progress_to(to) : m.revert_to(to);
    EXPECT_EQ((Seq{got, m.get_state(), m.steps, owner.status()}.text), after) << start << op << to;
  }
  EXPECT_EQ((Seq{state_name(-1), state_name(0), state_name(1), state_name(2), state_name(3), state_name(4)}.text),
            "unknown open locked formatted saved unknown");
  Opened o(header(1, 1)), nine(header(1, 1)), three(header(1, 1));
  static std::string seen;  // the callback is told the recorded status again before each new report
  o.object->record_status(4, "first %d", 4);
  o.object->set_status_callback([](OBJECT_FILE*, int32_t code, const char* t) { seen += Seq{code, t}.text + "|"; });
  for (auto [code, text] : {std::pair{6, "6"}, {8, "eight"}, {4, "4"}, {6, "6"}, {8, "8"}, {2, "two"}, {7, "7"}})
    o.object->record_status(code, "%s", text);
  EXPECT_EQ(seen, "4 first 4|4 first 4|4 first 4|8 eight|8 eight|8 eight|8 eight|8 eight|2 two|2 two|");
  nine.object->record_status(9, "nine"), nine.object->record_status(1, "one");
  three.object->record_status(3, "three"), three.object->record_status(0, "none");
  EXPECT_EQ(nine.status() + three.status(), "9 three3 three");  // one buffer holds the latest text
}

TEST(StringTable, ReadingAndAddingWithReuse) {
  OF_STRING_TABLE_MANAGER table;
  table.get_data().set_contents("\0a\0a\0ab\0xy", 10);  // the last text has no NUL
  uint32_t at = 99;
  EXPECT_EQ((Seq{table.get_string(0), table.get_string(3), table.get_string(6), table.get_string(8), table.get_name(),
                 !table.get_string(10), table.find_string("a", at)}.text), " a b xy  1 0");  // indexed by the first add
  for (auto [text, offset] : {std::pair{"a", 3}, {"ab", 5}, {"xy", 8}, {"b", 10}, {"b", 10}, {"", 0}, {nullptr, 0}})
    EXPECT_EQ(table.add_string(text), offset) << text;
  EXPECT_EQ((Seq{table.find_string("ab", at), at, table.find_string("abc", at), table.get_data().size(),
                 table.get_index_size(), (table.load(), table.get_index_size()), table.clear(), table.add_string("q"),
                 table.get_data().size()}.text), "1 5 0 12 5 0 0 0 2");
  Opened o(varied);
  ELF_STRING_TABLE* strings = o.elf()->get_elf_section_table()->find_section(".strtab", 0)->get_string_table();
  EXPECT_EQ((Seq{strings->get_name(), strings->get_string(strings->add_string("global_function")), strings->clear(),
                 strings->add_string(""), strings->get_data().size(), strings->progress_to(OF_STATE_LOCKED),
                 strings->add_string("late"), strings->clear(), o.status()}.text),
            ".strtab global_function 0 0 1 0 -1 -1 " + refused("locked", "must be in at most", "open"));
}

TEST(Symbols, ClassificationAndSetters) {
  EXPECT_EQ((Seq{symbol_kind_name(-1), symbol_kind_name(4), symbol_kind_name(5), symbol_kind_name(6),
                 symbol_binding_name(3), symbol_binding_name(4), symbol_type_name(6), symbol_type_name(7)}.text),
            "unknown common debug unknown weak unknown tls none");
  Opened o(varied);
  ELF_SYMBOL* s = o.symbol("defined_global");
  for (int info = 0; info < 256; ++info) {
    s->set_st_info(static_cast<uint8_t>(info));
    ASSERT_EQ(std::pair(s->get_binding(), s->get_type()),
              std::pair(info < 0x30 ? (info >> 4) + 1 : 0, (info & 15) <= 6 ? info & 15 : 0)) << info;
  }
  for (int shndx = 0; shndx <= 0xFFFF; ++shndx) {
    s->set_st_shndx(static_cast<uint16_t>(shndx));
    const int kind =
        shndx == 0 ? 1 : shndx == 0xFFF1 ? 3 : shndx == 0xFFF2 ? 4 : shndx < 0xFF00 || shndx == 0xFFFF ? 2 : 0;
    ASSERT_EQ(std::pair(s->get_kind(), s->is_section_relative_index()), std::pair(kind, kind == 2)) << shndx;
  }
  s->set_extended_index(77);
  EXPECT_EQ((Seq{s->get_section_id(), (s->set_st_shndx(0xFFFE), s->get_section_id()),
                 (s->set_section_relative(true), s->get_kind())}.text), "77 65534 2");
  std::string set;  // each setter's result and the raw fields after it
  for (int kind : {1, 3, 4})
    set += Seq{(s->set_extended_index(5), s->set_kind(kind)), s->get_st_shndx(), s->get_extended_index(), ""}.text;
  for (int binding : {1, 2, 3}) set += Seq{s->set_binding(binding), s->get_st_info(), ""}.text;
  for (int type : {0, 6}) set += Seq{s->set_type(type), s->get_st_info(), ""}.text;
  EXPECT_EQ(set + o.status(), "0 0 0 0 65521 0 0 65522 0 0 15 0 31 0 47 0 32 0 38 0 ");
  for (auto [op, value, text] : {std::tuple{'k', 2, "To mark a symbol as being defined, you must use set_section_id() "
                                                    "to set its section reference"},
                                 {'k', 0x1f, "Invalid symbol kind 1f"}, {'k', 0, "Invalid symbol kind 0"},
                                 {'b', 4, "Invalid symbol binding value 0x4"}, {'t', 7, "Invalid symbol type value 0x7"},
                                 {'b', 0, "Invalid symbol binding value 0x0"},
                                 {'t', -1, "Invalid symbol type value 0xffffffff"}}) {
    Opened fresh(varied);
    ELF_SYMBOL* x = fresh.symbol("defined_global");
    const std::string before = Seq{x->get_st_info(), x->get_st_shndx()}.text;
    const int got = op == 'k' ? x->set_kind(value) : op == 'b' ? x->set_binding(value) : x->set_type(value);
    EXPECT_EQ((Seq{got, x->get_st_info(), x->get_st_shndx(), fresh.status()}.text), "-1 " + before + " 5 " + text);
  }
  ELF_SYMBOL_TABLE* table = s->get_elf_table();
  EXPECT_TRUE(!table->get_symbol(table->get_num_symbols()) &&
              !table->find_symbol("defined_global", s->get_index() + 1) &&
              table->find_symbol("defined_global", 0) == s);
  // Edits are noted only while the table is locked.
  EXPECT_EQ((Seq{table->is_changed(s->get_index()), (table->progress_to(OF_STATE_LOCKED), s->set_binding(2)),
                 table->is_changed(s->get_index()), table->is_changed(0),
                 (table->progress_to(OF_STATE_FORMATTED), s->set_kind(1))}.text),
            "0 0 1 0 -1");
  Opened bad(varied);
  static_cast<ELF_SYMBOL*>(bad.object->get_symbol_table()->get_symbol(0))->set_st_other(1);
  bad.object->get_symbol_table()->progress_to(OF_STATE_LOCKED);
  EXPECT_EQ(bad.status(), "7 symbol 0 is not a NULL symbol");
  OF_SYMBOL *a = table->get_symbol(1), *b = table->get_symbol(2), *c = table->get_symbol(3);
  a->set_alias(b), a->set_alias(c), a->set_alias(nullptr);
  EXPECT_TRUE(a->get_alias() == c && c->get_alias() == b && b->get_alias() == a && a->get_last_alias() == b);
}

TEST(Symbols, Metadata) {
  // The metadata section: a version byte, then LEB128 kind, index and value.
  for (auto [bytes, index, read] :
       {std::tuple{"1, 1, 3, 7, 6, 3, 0x82, 1, 4, 3, 'm', 0", 3, "7 130 m 0 "},
        {"2, 1, 3, 7", 3, "0 0  4 Invalid format specified for symbol metadata section (.symtab_meta)"},
        {"1, 1, 2, 5, 16, 3, 1, 1, 3, 9", 2,
         "5 0  4 Invalid meta-info kind encountered in symbol metadata section (.symtab_meta)"}}) {
    Opened m(unit::compile(std::string(kSource) + "__attribute__((section(\".symtab_meta\"), used)) static const "
                                                  "unsigned char meta[] = {" + bytes + "};"));
    auto* x = static_cast<ELF_SYMBOL*>(m.object->get_symbol_table()->get_symbol(index));
    EXPECT_EQ((Seq{x->get_meta_flags(), x->get_meta_high_water(), x->get_meta_text_a(), m.status()}.text), read);
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
  std::string name, type, entsize32, entsize64, flags, bits;
  for (int row = 0; rows >> name >> type >> entsize32 >> entsize64 >> flags >> bits; ++row) {
    const STANDARD_SECTION *got = versions.lookup(name), *without = plain.lookup(name);
    ASSERT_TRUE(got) << name;
    EXPECT_EQ((Seq{got->type, got->entsize32, got->entsize64, got->flags, got->unit_bits, !without}.text),
              (Seq{type, entsize32, entsize64, flags, bits, row < 35 ? "0" : "1"}.text)) << name;
  }
  for (auto [lookup, row] : {std::pair{".text.hot", "1 6"}, {".rela.text", "4 0"}, {".rel.data", "9 0"},
                             {".tbss.x", "8 1027"}, {"mine_shndx", "18 0"}, {"mine_shndx", "18 0"}, {"text", "none"},
                             {".gnu.version", "none"}, {"", "none"}}) {
    const STANDARD_SECTION* got = plain.lookup(lookup);
    EXPECT_EQ((got ? Seq{got->type, got->flags}.text : "none"), row) << lookup;
  }
  for (char cls : {1, 2}) {  // sections added in memory take their row's defaults by the file's class
    Opened o(header(cls, 1));
    ELF_SECTION_TABLE* table = o.elf()->get_elf_section_table();
    OF_SYMBOL_TABLE* empty = o.object->get_symbol_table();  // no ".symtab": one is added after the null section
    EXPECT_TRUE(empty && empty == o.object->get_symbol_table() && empty->get_num_symbols() == 0);
    ELF_SECTION *symtab = table->get_section(1), *dynsym = table->add_section(".dynsym");
    ELF_SYMBOL_TABLE* dynamic = dynsym->get_symbol_table();  // its ".dynstr" is added: section 3
    EXPECT_EQ((Seq{table->get_section(0)->get_sh_type(), symtab->get_name(), symtab->get_sh_type(),
                   symtab->get_sh_entsize(), dynsym->get_sh_flags(), dynsym->get_sh_entsize(), dynsym->get_unit_bits(),
                   dynamic->get_string_table()->get_section()->get_index(), table->get_section(3)->get_name(),
                   dynsym->get_sh_link(), table->get_section_name_table()->get_section()->get_index(),
                   o.elf()->get_e_shstrndx(), !table->add_section("odd")->get_symbol_table()}.text),
              cls == 1 ? "0 .symtab 2 16 2 16 8 3 .dynstr 3 4 4 1" : "0 .symtab 2 24 2 24 8 3 .dynstr 3 4 4 1");
    dynsym->set_sh_type(1), dynsym->set_sh_link(0);
    EXPECT_EQ((Seq{!dynamic->get_string_table(), o.status()}.text),
              "1 7 string table for symbol table \".dynsym\" not found");
    EXPECT_EQ((o.object->progress_to(OF_STATE_LOCKED), table->add_section(".late")), nullptr);
  }
  std::string families;  // one code per target, both ways; 40 is family 1
  for (uint16_t family = 1; family <= 13; ++family)
    families += Seq{machine_family_from_elf(elf_machine_from_family(family)),
                    machine_family_from_coff_magic(0x8F + family),
                    machine_family_from_coff_target(150 + family), ""}.text;
  EXPECT_EQ((families + Seq{elf_machine_from_family(1), elf_machine_from_family(0), machine_family_from_elf(0)}.text),
            "1 1 1 2 2 2 3 3 3 4 4 4 5 5 5 6 6 6 7 7 7 8 8 8 9 9 9 10 10 10 11 11 11 12 12 12 0 0 0 40 0 0");
}

TEST(SymbolScan, AgreesWithTheReaderOnCompiledObjects) {
  // Whether the scan took the bytes and found symbols; what it took must be what the reader reads.
  auto agrees = [](const std::string& bytes) {
    std::vector<SCANNED_SYMBOL> scanned;
    if (!scan_symbols(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size(), scanned)) return false;
    std::string rows, read;
    for (const SCANNED_SYMBOL& s : scanned) rows += Seq{s.name, s.binding, s.kind, "|"}.text;
    Opened o(bytes);
    OF_SYMBOL_TABLE* t = o.object ? o.object->get_symbol_table() : nullptr;
    for (uint32_t i = 0; t && i < t->get_num_symbols(); i = t->get_next_index(i))
      read += Seq{t->get_symbol(i)->get_name(), t->get_symbol(i)->get_binding(), t->get_symbol(i)->get_kind(),
                  "|"}.text;
    EXPECT_EQ(rows, read);
    return !rows.empty();
  };
  for (const char* compiler : {"gcc -c", "clang -c --target=i386-linux-gnu", "clang -c --target=mips-linux-gnu",
                               "clang -c --target=powerpc64-linux-gnu"}) {
    const std::string bytes = unit::compile(kSource, compiler);
    EXPECT_TRUE(bytes.empty() || agrees(bytes)) << compiler << " declined";
  }
  EXPECT_FALSE(agrees("!<arch>\n") || agrees(std::string("\x7f" "ELF\x02\x01", 6)) ||
               agrees(varied.substr(0, varied.size() / 2)));
  // Odd values in the host object (ELF64, little-endian) are answered as the reader
  // answers them; shapes the scan cannot answer so are left to the reader.
  Opened o(varied);
  const uint64_t shoff = o.elf()->get_e_shoff(), names = shoff + 64 * o.elf()->get_e_shstrndx();
  ELF_SECTION* symtab = o.elf()->get_elf_section_table()->find_section(".symtab", 0);
  const uint64_t table = shoff + 64 * symtab->get_index(),
                 global = symtab->get_sh_offset() + 24 * o.symbol("global_function")->get_index();
  for (auto [at, width, value, taken] : {std::tuple<uint64_t, int, uint64_t, bool>{global + 4, 1, 0x42, true},
        {table + 32, 8, symtab->get_sh_size() + 3, true}, {names + 32, 8, 1, false}, {global + 6, 2, 0xFFFF, false},
        {60, 2, 0, false}, {62, 2, 0xFFFF, false}, {62, 2, 0, false}, {58, 2, 72, false}, {table + 56, 8, 0, false},
        {table + 4, 4, 11, false}, {table + 40, 4, 0, false}, {table + 40, 4, 999, false}}) {
    std::string bytes = varied;
    put(bytes, at, width, value);
    EXPECT_EQ(agrees(bytes), taken) << at << " " << value;
  }
}
