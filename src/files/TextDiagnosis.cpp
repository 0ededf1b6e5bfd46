// Finding the key behind a refused text correction file.
//
// The file is read again with the importer's INI rules (a ';' in the first
// column starts a comment; a '[' line names a section by dropping its first
// and last character after trailing '\r' are cut; a repeated header starts
// the section afresh; key=value with nothing trimmed; the first occurrence of
// a key wins), and the keys are checked in the order the importer reads
// them, with the very conversions it uses (std::stoi, std::stof), so the
// first problem found here is the one that stopped the import.
#include <zemcal/StringUtil.h>

#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "files/TextDiagnosis.h"

namespace zemcal::files {

namespace {

struct Item {
    std::string value;
    int line = 0;
};
using Section = std::map<std::string, Item>;

// Only the two sections whose keys the importer converts with exceptions;
// the grid sections are best-effort and never fail an import.
std::map<std::string, Section> readSections(const std::string& path) {
    std::map<std::string, Section> sections;
    std::ifstream in(path);
    std::string line;
    Section* current = nullptr;
    int number = 0;
    while (std::getline(in, line)) {
        ++number;
        if (line.empty() || line[0] == ';') continue;
        if (line[0] == '[') {
            StringUtil::rtrim(line, "\r");
            const std::string name = line.size() >= 2 ? line.substr(1, line.size() - 2) : "";
            current = nullptr;
            if (name == "CalCoefs" || name == "Cal3") {
                current = &sections[name];
                current->clear();
            }
            continue;
        }
        if (current == nullptr) continue;
        const std::size_t eq = line.find('=');
        const std::string key = eq == std::string::npos ? line : line.substr(0, eq);
        const std::string value = eq == std::string::npos ? line : line.substr(eq + 1);
        current->emplace(key, Item{value, number});
    }
    return sections;
}

std::string shown(std::string v) {
    StringUtil::rtrim(v, "\r");
    return v;
}

class Checker {
public:
    explicit Checker(std::map<std::string, Section> s) : sections_(std::move(s)) {}

    // Each check returns false (and fills the result) at the first problem.
    bool isInt(const std::string& sect, const std::string& key, int* value = nullptr) {
        const Item* it = find(sect, key);
        if (it == nullptr) return true;
        try {
            const int v = std::stoi(it->value, nullptr, 10);
            if (value != nullptr) *value = v;
            return true;
        } catch (const std::invalid_argument&) {
            return fail(*it, sect, key, "is not a whole number");
        } catch (const std::out_of_range&) {
            return fail(*it, sect, key, "is out of the range of an int");
        }
    }

    bool isFloat(const std::string& sect, const std::string& key) {
        const Item* it = find(sect, key);
        if (it == nullptr) return true;
        try {
            (void)std::stof(it->value);
            return true;
        } catch (const std::invalid_argument&) {
            return fail(*it, sect, key, "is not a number");
        } catch (const std::out_of_range&) {
            return fail(*it, sect, key, "is out of the range of a float");
        }
    }

    bool isBasePoint(int i) {
        const std::string key = "PNT" + std::to_string(i);
        const Item* it = find("Cal3", key);
        if (it == nullptr || it->value.empty()) {
            result_.line = it != nullptr ? it->line : 0;
            result_.what = "[Cal3] base point " + key + " is missing (all nine, PNT0..PNT8, are required)";
            return false;
        }
        std::string row = it->value;
        std::vector<std::string> parts;
        StringUtil::split(row, " ", parts);
        if (parts.size() == 4) return true;
        result_.line = it->line;
        result_.what = "[Cal3] " + key + "=" + shown(it->value) +
                       ": needs four numbers separated by single spaces";
        return false;
    }

    bool hasSection(const std::string& sect) const { return sections_.count(sect) != 0; }

    TextDiagnosis result() const { return result_; }

private:
    const Item* find(const std::string& sect, const std::string& key) const {
        const auto s = sections_.find(sect);
        if (s == sections_.end()) return nullptr;
        const auto k = s->second.find(key);
        return k == s->second.end() ? nullptr : &k->second;
    }

    bool fail(const Item& it, const std::string& sect, const std::string& key, const char* what) {
        result_.line = it.line;
        result_.what = "[" + sect + "] " + key + "=" + shown(it.value) + ": the value " + what;
        return false;
    }

    std::map<std::string, Section> sections_;
    TextDiagnosis result_;
};

bool checkInOrder(Checker& c) {
    const char* cc = "CalCoefs";
    if (!c.isFloat(cc, "ValSize") || !c.isInt(cc, "Resolution") || !c.isInt(cc, "LEN_XYFLIP") ||
        !c.isInt(cc, "LEN_XINVERT") || !c.isInt(cc, "LEN_YINVERT") || !c.isFloat(cc, "order"))
        return false;
    for (int i = 0; i < 9; ++i)
        if (!c.isBasePoint(i)) return false;
    const char* c3 = "Cal3";
    if (!c.isInt(c3, "grid")) return false;
    for (const char* key : {"AxisXL", "AxisXR", "AxisYT", "AxisYB", "TXL", "TXR", "TYT", "TYB", "SXL",
                            "SXR", "SYT", "SYB", "OX", "OY", "PLX", "PLY", "Y2XAngle"})
        if (!c.isFloat(c3, key)) return false;
    for (int i = 0; i < 20; ++i)
        if (!c.isFloat(c3, "k" + std::to_string(i))) return false;
    for (int i = 0; i < 8; ++i)
        if (!c.isFloat(c3, "s" + std::to_string(i))) return false;
    int lineCount = 0;
    if (!c.isInt(c3, "LineCount", &lineCount)) return false;
    if (lineCount < 2) return true;
    for (int i = 0; i < lineCount && i < 100; ++i) {
        const std::string n = std::to_string(i);
        for (const char* prefix : {"XT", "YT", "XA", "YA", "XR", "YR"})
            if (!c.isFloat(c3, prefix + n)) return false;
    }
    return true;
}

}  // namespace

TextDiagnosis diagnoseTextFile(const std::string& path) {
    Checker checker(readSections(path));
    const bool ok = checkInOrder(checker);
    // A file without the base-point section is not a failed calibration but
    // something else altogether (an image, a wrong path): say that.
    if (!ok && !checker.hasSection("Cal3") && checker.result().line == 0)
        return {0, "not a calibration file: neither the binary magic ZEMCLDT nor a [Cal3] section "
                   "with the base points PNT0..PNT8"};
    return checker.result();
}

}  // namespace zemcal::files
