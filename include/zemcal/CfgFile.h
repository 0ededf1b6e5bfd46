// CCfgFile: an in-memory store for INI-style text files.
//
// Sections hold key/value strings. Lookups insert placeholders for missing
// sections and keys (so even the getters change the store), every setter
// rewrites the whole file, and saving sorts sections and keys bytewise.
//
// Error contract: loadItems and saveItems always return true (a missing file
// reads as empty, and so do a path that is no regular file and a file over
// kMaxTextBytes; a failed write is silent, and leaves the previous file as
// it was: the file is written through a temporary). saveItems also prints
// "mymap contains:" to standard output. GetInt, GetFloat and GetDouble
// throw std::invalid_argument / std::out_of_range for a value that does not
// start with a number. Not thread-safe.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include <zemcal/Export.h>

/// One key/value pair.
struct tagDataItem {
    int index = -1;  ///< line counter when loaded; never read back
    std::string key;
    std::string value;  ///< exactly as read, trailing '\r' included
};

/// One section; owns its items. A null item pointer is a placeholder.
struct tagDataSect {
    int index = -1;    ///< line counter when loaded; never read back
    std::string name;  ///< set by loadItems; output uses the map key
    std::map<std::string, tagDataItem*> items;
};

class ZEMCAL_API CCfgFile {
public:
    /// The largest file loadItems reads (64 MiB).
    static constexpr long long kMaxTextBytes = 64ll << 20;

    CCfgFile();
    ~CCfgFile();
    CCfgFile(const CCfgFile&) = delete;
    CCfgFile& operator=(const CCfgFile&) = delete;

    /// Sets the file the setters save to.
    void setFilename(std::string name);
    /// Replaces the contents with the parsed file. Always true.
    bool loadItems(std::string name);
    /// Writes the whole store to the file (nothing when empty). Always true.
    bool saveItems(std::string name);
    /// Frees all sections and items.
    void resetData();
    /// Debug dump to standard output.
    void listData();

    std::string GetString(std::string section, std::string key, std::string def);
    int GetInt(std::string section, std::string key, int def);
    float GetFloat(std::string section, std::string key, float def);
    /// Read through single precision: the result carries float precision.
    double GetDouble(std::string section, std::string key, double def);

    void SetString(std::string section, std::string key, std::string value);
    void SetInt(std::string section, std::string key, int value);
    void SetFloat(std::string section, std::string key, float value);
    void SetDouble(std::string section, std::string key, double value);

private:
    std::string filename;
    std::map<std::string, tagDataSect*> sections;
};
