// CCfgFile: INI sections of key/value strings, read whole and written whole.
//
// Reading keeps every byte of a value (spaces around '=', a trailing '\r' of
// CR-LF files); only section headers lose trailing '\r'. The first duplicate
// key wins and a repeated header starts its section afresh. Lookups insert
// null placeholders for what they did not find (std::map::operator[]), which
// is why even the getters modify the store; saving and listing skip them.
//
// Numbers are read and written with '.' whatever the host's locale (see
// support/Numbers.h): a file must not change meaning with the machine.
#include <zemcal/CfgFile.h>
#include <zemcal/StringUtil.h>

#include <cstdint>
#include <iostream>
#include <sstream>
#include <locale>
#include <memory>
#include <stdexcept>

#include "files/BinaryIo.h"
#include "files/SafeFile.h"
#include "support/Numbers.h"

using zemcal::support::stofClassic;
using zemcal::support::stoiClassic;
using zemcal::support::toStringClassic;

namespace {

void freeSection(tagDataSect* sect) {
    for (auto& kv : sect->items) delete kv.second;
    delete sect;
}

// Insert-on-access lookup shared by the getters: null when the section or
// the key is missing (or only a placeholder).
const tagDataItem* lookup(std::map<std::string, tagDataSect*>& sections, const std::string& section,
                          const std::string& key) {
    tagDataSect* sect = sections[section];
    if (sect == nullptr) return nullptr;
    return sect->items[key];
}

// Saved files are imbued with the "chs" locale where the platform has it.
// The bytes of a narrow stream are the same under any locale, so a platform
// without it (Linux has none of that name) falls back to the classic one
// rather than failing the save.
std::locale saveLocale() {
    try {
        return std::locale("chs");
    } catch (const std::runtime_error&) {
        return std::locale::classic();
    }
}

}  // namespace

CCfgFile::CCfgFile() = default;

CCfgFile::~CCfgFile() { resetData(); }

void CCfgFile::setFilename(std::string name) { filename = name; }

bool CCfgFile::loadItems(std::string name) {
    if (!sections.empty()) resetData();

    // An unopenable file reads as empty, which callers cannot tell from an
    // empty file. So do a path that is no regular file (a FIFO would block,
    // a device never end) and a file over kMaxTextBytes: no INI file is
    // that large, and the whole file is held in memory.
    std::string text;
    zemcal::files::InputFile file;
    if (file.open(name.c_str()) && file.size() <= kMaxTextBytes) {
        text.resize(static_cast<std::size_t>(file.size()));
        text.resize(std::fread(text.data(), 1, text.size(), file.get()));
    }
    std::istringstream in(text);
    std::int32_t counter = 0;
    tagDataSect* current = nullptr;
    std::string line;
    while (std::getline(in, line, in.widen('\n'))) {
        if (line.empty() || line[0] == ';') continue;

        if (line[0] == '[') {
            StringUtil::rtrim(line, "\r");
            // Everything between the first and the last character: the last
            // one is dropped even when it is not ']' ("[ABC" names "AB").
            // For a lone "[" the length wraps and the name is empty.
            const std::string sectName = line.substr(1, line.size() - 2);
            auto sect = std::make_unique<tagDataSect>();
            sect->index = counter;
            sect->name = sectName;
            tagDataSect*& slot = sections[sectName];
            // A repeated header replaces the earlier section with all its
            // items; nothing else refers to the old record, so free it here.
            if (slot != nullptr) freeSection(slot);
            slot = sect.release();
            current = slot;
            ++counter;
            continue;
        }

        if (current == nullptr) continue;  // text before the first header

        // The position of '=' passes through a 32-bit int: a missing '='
        // (npos) becomes -1, so the key is the whole line (length npos) and
        // the value starts at 0, i.e. a bare word is both key and value.
        const std::int32_t pos = static_cast<std::int32_t>(line.find('='));
        const std::size_t keyLen = static_cast<std::size_t>(pos);
        const std::size_t valueStart = static_cast<std::size_t>(static_cast<std::int64_t>(pos) + 1);
        auto item = std::make_unique<tagDataItem>();
        item->index = counter;
        item->key = line.substr(0, keyLen);
        // Only a line beyond 2 GiB can put the narrowed start past the end.
        if (valueStart <= line.size()) item->value = line.substr(valueStart);
        // The first occurrence of a key wins; a later duplicate is discarded.
        if (current->items.emplace(item->key, item.get()).second) item.release();
        ++counter;
    }
    return true;
}

bool CCfgFile::saveItems(std::string name) {
    // An empty store writes nothing: the file keeps its old contents.
    if (sections.empty()) return true;

    // The text is built whole, then saved safely: a failed write leaves the
    // previous file as it was.
    std::ostringstream out;
    out.imbue(saveLocale());

    std::cout << "mymap contains:\n";
    for (const auto& s : sections) {
        if (s.second == nullptr) continue;  // placeholder left by a lookup
        out << '[' << s.first << ']' << out.widen('\n');
        out.flush();
        for (const auto& i : s.second->items) {
            if (i.second == nullptr) continue;
            out << i.first << '=' << i.second->value << '\n';
            out.flush();
        }
    }
    const std::string text = out.str();
    zemcal::files::SafeFileWriter file;
    if (file.open(name.c_str())) {
        std::fwrite(text.data(), 1, text.size(), file.stream());
        file.commit();  // a failed write is silent by contract
    }
    return true;
}

void CCfgFile::resetData() {
    for (auto& s : sections) {
        if (s.second != nullptr) freeSection(s.second);
    }
    sections.clear();
}

void CCfgFile::listData() {
    std::cout << "mymap contains:\n";
    for (const auto& s : sections) {
        if (s.second == nullptr) continue;
        std::cout << s.first << "=>\n";
        for (const auto& i : s.second->items) {
            if (i.second == nullptr) continue;
            std::cout << "\t=>" << i.first << " := " << i.second->value << '\n';
        }
    }
}

std::string CCfgFile::GetString(std::string section, std::string key, std::string def) {
    const tagDataItem* item = lookup(sections, section, key);
    return item != nullptr ? item->value : def;
}

int CCfgFile::GetInt(std::string section, std::string key, int def) {
    // Leading white space skipped, trailing text (a '\r') ignored; no leading
    // number throws std::invalid_argument.
    const tagDataItem* item = lookup(sections, section, key);
    return item != nullptr ? stoiClassic(item->value) : def;
}

float CCfgFile::GetFloat(std::string section, std::string key, float def) {
    const tagDataItem* item = lookup(sections, section, key);
    return item != nullptr ? stofClassic(item->value) : def;
}

double CCfgFile::GetDouble(std::string section, std::string key, double def) {
    // Read in single precision on purpose: stored doubles have always carried
    // float precision, and values computed from them depend on that.
    const tagDataItem* item = lookup(sections, section, key);
    return item != nullptr ? static_cast<double>(stofClassic(item->value)) : def;
}

void CCfgFile::SetString(std::string section, std::string key, std::string value) {
    tagDataSect*& sect = sections[section];
    if (sect == nullptr) {
        // Records made here keep index -1 and an empty name: output always
        // takes names from the map keys.
        auto newSect = std::make_unique<tagDataSect>();
        auto item = std::make_unique<tagDataItem>();
        item->key = key;
        item->value = value;
        tagDataItem*& slot = newSect->items[key];  // insert first, then hand over
        slot = item.release();
        sect = newSect.release();
    } else {
        tagDataItem*& item = sect->items[key];
        if (item == nullptr) {
            item = new tagDataItem;
            item->key = key;
        }
        item->value = value;
    }
    saveItems(filename);
}

void CCfgFile::SetInt(std::string section, std::string key, int value) {
    SetString(section, key, std::to_string(static_cast<long long>(value)));
}

void CCfgFile::SetFloat(std::string section, std::string key, float value) {
    // Fixed notation with six decimals, as in "0.500000".
    SetString(section, key, toStringClassic(static_cast<long double>(value)));
}

void CCfgFile::SetDouble(std::string section, std::string key, double value) {
    SetString(section, key, toStringClassic(static_cast<long double>(value)));
}
