// Machine databases: one per target family, chosen from the object's machine
// family code, answering the library's target-specific questions. Only the
// base database and the Zq4 one exist; both give the default answers.
#pragma once

#include <cstdint>
#include <memory>

namespace OFE {

class OBJECT_FILE;
class ELF_SECTION;
class ELF_SYMBOL;
class ELF_SYMBOL_TABLE;

enum : uint32_t { MACHINE_FAMILY_NONE = 0, MACHINE_FAMILY_ZQ4 = 11, MACHINE_FAMILY_LAST = 12 };

// Family code of an ELF machine number, of a version-1 COFF magic word and of
// a version-2/3 COFF target identifier; 0 when unknown.
uint32_t machine_family_from_elf(uint16_t e_machine);
uint32_t machine_family_from_coff_magic(uint16_t magic);
uint32_t machine_family_from_coff_target(uint16_t target);
// The ELF machine number that a new object of the family gets; 0 outside 1..12.
uint16_t elf_machine_from_family(uint32_t family);

class OF_MACHINE_DB {
public:
  explicit OF_MACHINE_DB(OBJECT_FILE* owner) : owner_(owner) {}
  virtual ~OF_MACHINE_DB() = default;
  OF_MACHINE_DB(const OF_MACHINE_DB&) = delete;
  OF_MACHINE_DB& operator=(const OF_MACHINE_DB&) = delete;

  // Called while the object is constructed, before anything is read.
  virtual void init_object_attributes() {}
  // Called when the factory hands the loaded object out.
  virtual void start_object() {}
  // Byte order of a section's contents: 1 little, 2 big, 0 unknown. By
  // default the file's own EI_DATA decides.
  virtual int get_section_byte_order(const ELF_SECTION& section) const;
  // Address unit size in bits of sections whose standard row leaves it open.
  virtual unsigned get_default_unit_bits() const { return 8; }
  // True when the section is held in bytes whatever its target default.
  virtual bool is_section_in_bytes(const ELF_SECTION&) const { return false; }
  // A target's own kind for a symbol; false when the target has none.
  virtual bool get_symbol_kind(const ELF_SYMBOL&, int& kind) const {
    (void)kind;
    return false;
  }
  // Adjusts a symbol table before it is laid out for output.
  virtual void adjust_symbol_table(ELF_SYMBOL_TABLE&) {}

  OBJECT_FILE* get_owner() const { return owner_; }

private:
  OBJECT_FILE* owner_;
};

class ZQ4_MACHINE_DB : public OF_MACHINE_DB {
public:
  using OF_MACHINE_DB::OF_MACHINE_DB;
};

// The database for a family code; the base one for 0 and unknown codes.
std::unique_ptr<OF_MACHINE_DB> create_machine_db(uint32_t family, OBJECT_FILE* owner);

}  // namespace OFE
