// Fuzz target: CCfgFile on arbitrary text: load, list, look up, save, reload,
// set.
//
// Checks, besides the absence of crashes and leaks:
// - every numeric getter reads a value exactly as std::stoi / std::stof do in
//   the "C" locale this process runs in: the same bits or the same exception;
// - saving is a fixed point after one round: load, save, load, save gives the
//   same bytes twice;
// - a value set with SetString, SetInt, SetFloat or SetDouble reads back from
//   the rewritten file as the standard conversions say it must.
#include <zemcal/CfgFile.h>

#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "FuzzSupport.h"

using namespace zemcal::fuzz;

namespace {

// A value can never hold a newline, so this default marks an absent key.
const char* const kAbsent = "\n";

// Section and key names to look up, taken from the input's own lines so that
// most lookups hit (misses matter too: they leave placeholders that saving
// must skip). Bounded, so that one input costs little.
struct Names {
    std::vector<std::string> sections{"CalCoefs", "Cal3"};
    std::vector<std::string> keys{"ValSize", "PNT0"};
};

Names namesIn(const std::string& text) {
    Names n;
    std::size_t start = 0;
    while (start < text.size() && n.sections.size() + n.keys.size() < 28) {
        std::size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        std::string line = text.substr(start, end - start);
        start = end + 1;
        if (line.empty()) continue;
        if (line[0] == '[') {
            while (!line.empty() && line.back() == '\r') line.pop_back();
            n.sections.push_back(line.size() >= 2 ? line.substr(1, line.size() - 2) : std::string());
        } else {
            n.keys.push_back(line.substr(0, line.find('=')));
        }
    }
    return n;
}

// The outcome of one conversion: its value's bytes, or which exception.
template <class T, class Convert>
std::string outcome(Convert convert) {
    try {
        const T v = convert();
        return std::string(reinterpret_cast<const char*>(&v), sizeof v);
    } catch (const std::invalid_argument&) {
        return "invalid_argument";
    } catch (const std::out_of_range&) {
        return "out_of_range";
    }
}

void checkGetters(CCfgFile& cfg, const std::string& section, const std::string& key) {
    const std::string value = cfg.GetString(section, key, kAbsent);
    if (value == kAbsent) return;  // the getters return their defaults
    if (outcome<int>([&] { return cfg.GetInt(section, key, 0); }) !=
        outcome<int>([&] { return std::stoi(value, nullptr, 10); })) {
        fail("GetInt differs from std::stoi");
    }
    if (outcome<float>([&] { return cfg.GetFloat(section, key, 0.0f); }) !=
        outcome<float>([&] { return std::stof(value); })) {
        fail("GetFloat differs from std::stof");
    }
    if (outcome<double>([&] { return cfg.GetDouble(section, key, 0.0); }) !=
        outcome<double>([&] { return static_cast<double>(std::stof(value)); })) {
        fail("GetDouble differs from std::stof");
    }
}

// Names and values come from single lines of the input, so none holds a
// newline or (keys) an '='; an item then survives a save and a load unless its
// line would read back as a comment.
bool storable(const std::string& key) { return key.empty() || key[0] != ';'; }

// Sets one value of each kind in the store and reads them back from the file
// the setters rewrote.
void checkSetters(CCfgFile& cfg, const Names& names, const std::string& text) {
    unsigned char raw[16] = {};
    std::memcpy(raw, text.data(), text.size() < sizeof raw ? text.size() : sizeof raw);
    int i;
    float f;
    double d;
    std::memcpy(&i, raw, sizeof i);
    std::memcpy(&f, raw + 4, sizeof f);
    std::memcpy(&d, raw + 8, sizeof d);

    const std::string path = scratchPath("set.ini");
    std::remove(path.c_str());
    cfg.setFilename(path);
    const std::string& section = names.sections.back();
    const std::string& key = names.keys.back();
    const std::string value = text.substr(0, text.find('\n'));
    cfg.SetString(section, key, value);
    // The numbers go to keys of their own, unless the string took one of them.
    const bool setNumbers = key != "int" && key != "float" && key != "double";
    if (setNumbers) {
        cfg.SetInt(section, "int", i);
        cfg.SetFloat(section, "float", f);
        cfg.SetDouble(section, "double", d);
    }

    CCfgFile back;
    back.loadItems(path);
    if (storable(key) && back.GetString(section, key, kAbsent) != value) {
        fail("SetString does not read back");
    }
    if (!setNumbers) return;
    if (back.GetInt(section, "int", 0) != i) fail("SetInt does not read back");
    const std::string fText = std::to_string(static_cast<long double>(f));
    const std::string dText = std::to_string(static_cast<long double>(d));
    if (back.GetString(section, "float", kAbsent) != fText) fail("SetFloat differs from std::to_string");
    if (back.GetString(section, "double", kAbsent) != dText) fail("SetDouble differs from std::to_string");
    checkGetters(back, section, "float");
    checkGetters(back, section, "double");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool quiet = (silenceStdout(), true);
    (void)quiet;
    const std::string text(reinterpret_cast<const char*>(data), size);
    const std::string input = writeScratch("input.ini", data, size);

    CCfgFile cfg;
    if (!cfg.loadItems(input)) fail("loadItems returned false");
    cfg.listData();  // the debug dump walks the store too (output discarded)
    const Names names = namesIn(text);
    for (const std::string& s : names.sections) {
        for (const std::string& k : names.keys) checkGetters(cfg, s, k);
    }

    // Saving skips the placeholders the lookups left; an empty store writes
    // nothing, which reads back as an empty file.
    const std::string a = scratchPath("saved-a.ini");
    const std::string b = scratchPath("saved-b.ini");
    std::remove(a.c_str());
    std::remove(b.c_str());
    if (!cfg.saveItems(a)) fail("saveItems returned false");
    CCfgFile again;
    again.loadItems(a);
    if (!again.saveItems(b)) fail("saveItems returned false");
    if (readFile(a) != readFile(b)) fail("save, load, save is not a fixed point");

    checkSetters(again, names, text);
    return 0;
}
