#include "elf32.h"

#include <cstring>
#include <elf.h>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace elf32 {

namespace {

class image {
public:
    explicit image(const std::string &path) {
        std::ifstream file(path, std::ios::binary);
        if (!file)
            throw std::runtime_error("cannot read " + path);
        bytes.assign(std::istreambuf_iterator<char>(file), {});
        const auto head = at<Elf32_Ehdr>(0);
        if (std::memcmp(head.e_ident, ELFMAG, SELFMAG) != 0 ||
            head.e_ident[EI_CLASS] != ELFCLASS32 || head.e_machine != EM_386 ||
            head.e_type != ET_DYN)
            throw std::runtime_error(path + " is not a 32-bit x86 shared object");
        for (std::uint32_t i = 0; i < head.e_shnum; ++i)
            sections.push_back(at<Elf32_Shdr>(head.e_shoff + i * head.e_shentsize));
        for (std::uint32_t i = 0; i < head.e_phnum; ++i)
            program_headers.push_back(at<Elf32_Phdr>(head.e_phoff + i * head.e_phentsize));
    }

    template <typename Record>
    Record at(std::size_t offset) const {
        if (offset + sizeof(Record) > bytes.size())
            throw std::runtime_error("record beyond the end of the file");
        Record record;
        std::memcpy(&record, bytes.data() + offset, sizeof(record));
        return record;
    }

    const Elf32_Shdr *section(std::uint32_t type) const {
        for (const auto &candidate : sections)
            if (candidate.sh_type == type)
                return &candidate;
        return nullptr;
    }

    const std::vector<Elf32_Phdr> &segments() const { return program_headers; }

    std::vector<Elf32_Rel> relocations() const {
        std::vector<Elf32_Rel> all;
        for (const auto &table : sections)
            for (std::uint32_t i = 0;
                 table.sh_type == SHT_REL && i < table.sh_size / sizeof(Elf32_Rel); ++i)
                all.push_back(at<Elf32_Rel>(table.sh_offset + i * sizeof(Elf32_Rel)));
        return all;
    }

    std::string string(const Elf32_Shdr &table, std::uint32_t offset) const {
        return bytes.data() + sections.at(table.sh_link).sh_offset + offset;
    }

private:
    std::vector<char> bytes;
    std::vector<Elf32_Shdr> sections;
    std::vector<Elf32_Phdr> program_headers;
};

std::map<std::uint16_t, std::string> needed_versions(const image &file) {
    std::map<std::uint16_t, std::string> versions;
    const Elf32_Shdr *const section = file.section(SHT_GNU_verneed);
    if (section == nullptr)
        return versions;
    std::uint32_t offset = section->sh_offset;
    for (std::uint32_t i = 0; i < section->sh_info; ++i) {
        const auto library = file.at<Elf32_Verneed>(offset);
        std::uint32_t entry_offset = offset + library.vn_aux;
        for (std::uint32_t k = 0; k < library.vn_cnt; ++k) {
            const auto entry = file.at<Elf32_Vernaux>(entry_offset);
            versions[entry.vna_other] = file.string(*section, entry.vna_name);
            entry_offset += entry.vna_next;
        }
        offset += library.vn_next;
    }
    return versions;
}

void read_symbols(const image &file, shared_object &object) {
    const Elf32_Shdr *const table = file.section(SHT_DYNSYM);
    if (table == nullptr)
        throw std::runtime_error("no dynamic symbols");
    const Elf32_Shdr *const version_table = file.section(SHT_GNU_versym);
    const auto versions = needed_versions(file);
    for (std::uint32_t i = 1; i < table->sh_size / sizeof(Elf32_Sym); ++i) {
        const auto entry = file.at<Elf32_Sym>(table->sh_offset + i * sizeof(Elf32_Sym));
        symbol found = {
            ELF32_ST_TYPE(entry.st_info) == STT_FUNC, entry.st_value, entry.st_size, {}};
        const bool undefined = entry.st_shndx == SHN_UNDEF;
        if (undefined && version_table != nullptr) {
            const auto index =
                file.at<std::uint16_t>(version_table->sh_offset + i * sizeof(std::uint16_t));
            if (const auto version = versions.find(index); version != versions.end())
                found.version = version->second;
        }
        (undefined ? object.undefined : object.exported)[file.string(*table, entry.st_name)] =
            found;
    }
}

void read_relocations(const image &file, shared_object &object) {
    const Elf32_Shdr &table = *file.section(SHT_DYNSYM);
    for (const Elf32_Rel &relocation : file.relocations()) {
        const std::uint32_t index = ELF32_R_SYM(relocation.r_info);
        if (index == 0 || ELF32_R_TYPE(relocation.r_info) == R_386_JMP_SLOT)
            continue;
        const auto entry = file.at<Elf32_Sym>(table.sh_offset + index * sizeof(Elf32_Sym));
        if (entry.st_shndx == SHN_UNDEF)
            object.needed_at_load.insert(file.string(table, entry.st_name));
    }
}

void read_dynamic(const image &file, shared_object &object) {
    const Elf32_Shdr *const table = file.section(SHT_DYNAMIC);
    if (table == nullptr)
        throw std::runtime_error("no dynamic section");
    for (std::uint32_t i = 0; i < table->sh_size / sizeof(Elf32_Dyn); ++i) {
        const auto entry = file.at<Elf32_Dyn>(table->sh_offset + i * sizeof(Elf32_Dyn));
        if (entry.d_tag == DT_NULL)
            break;
        object.dynamic_tags[entry.d_tag] = entry.d_un.d_val;
        if (entry.d_tag == DT_NEEDED)
            object.needed.push_back(file.string(*table, entry.d_un.d_val));
        if (entry.d_tag == DT_SONAME)
            object.soname = file.string(*table, entry.d_un.d_val);
    }
}

} // namespace

shared_object read(const std::string &path) {
    const image file(path);
    shared_object object;
    read_symbols(file, object);
    read_relocations(file, object);
    read_dynamic(file, object);
    for (const Elf32_Phdr &header : file.segments())
        object.segments.push_back({header.p_type, header.p_flags});
    return object;
}

} // namespace elf32
