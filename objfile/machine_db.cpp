#include "objfile/machine_db.h"

#include "objfile/elf_file.h"
#include "objfile/section.h"

namespace OFE {

namespace {

struct MACHINE_FAMILY {
  uint32_t family;
  uint16_t e_machine;    // ELF machine number (and the default of a new object)
  uint16_t coff_magic;   // version-1 COFF magic word
  uint16_t coff_target;  // version-2/3 COFF target identifier
};

// The one table of target families. Family 1 is ELF machine 40; the other
// machine numbers are this toolchain's own.
constexpr MACHINE_FAMILY kFamilies[] = {
    {1, 40, 0x90, 151},      {2, 0x5A02, 0x91, 152},  {3, 0x5A03, 0x92, 153},
    {4, 0x5A04, 0x93, 154},  {5, 0x5A05, 0x94, 155},  {6, 0x5A06, 0x95, 156},
    {7, 0x5A07, 0x96, 157},  {8, 0x5A08, 0x97, 158},  {9, 0x5A09, 0x98, 159},
    {10, 0x5A0A, 0x99, 160}, {11, 0x5A0B, 0x9A, 161}, {12, 0x5A0C, 0x9B, 162},
};

}  // namespace

namespace {

// The family whose `field` equals `value`, from the one table above.
template <typename Field>
uint32_t family_where(Field MACHINE_FAMILY::*field, Field value) {
  for (const MACHINE_FAMILY& f : kFamilies)
    if (f.*field == value) return f.family;
  return MACHINE_FAMILY_NONE;
}

}  // namespace

uint32_t machine_family_from_elf(uint16_t e_machine) {
  return family_where(&MACHINE_FAMILY::e_machine, e_machine);
}

uint32_t machine_family_from_coff_magic(uint16_t magic) {
  return family_where(&MACHINE_FAMILY::coff_magic, magic);
}

uint32_t machine_family_from_coff_target(uint16_t target) {
  return family_where(&MACHINE_FAMILY::coff_target, target);
}

uint16_t elf_machine_from_family(uint32_t family) {
  for (const MACHINE_FAMILY& f : kFamilies)
    if (f.family == family) return f.e_machine;
  return 0;
}

int OF_MACHINE_DB::get_section_byte_order(const ELF_SECTION& section) const {
  uint8_t data = section.get_file()->get_e_ident(EI_DATA);
  return data == 1 || data == 2 ? data : 0;
}

std::unique_ptr<OF_MACHINE_DB> create_machine_db(uint32_t family, OBJECT_FILE* owner) {
  if (family == MACHINE_FAMILY_ZQ4) return std::make_unique<ZQ4_MACHINE_DB>(owner);
  return std::make_unique<OF_MACHINE_DB>(owner);
}

}  // namespace OFE
