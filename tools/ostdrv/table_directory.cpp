#include "table_directory.hpp"

#include <ostdrv.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "error.hpp"
#include "files.hpp"

namespace ostdrv::tool {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t list_limit = X_SENSOR_EEPROM_TABLES * sizeof x_sensor_eeprom_table::name;

// Files and directories that are taken away again unless everything went well.
class Made {
 public:
    Made() = default;
    ~Made() {
        std::error_code ignored;
        // A directory is made before what is put in it.
        std::ranges::reverse(made_);
        for (const fs::path &path : made_) fs::remove(path, ignored);
    }
    Made(const Made &) = delete;
    Made &operator=(const Made &) = delete;

    void directory(const fs::path &path) {
        if (path.empty() || fs::is_directory(path)) return;
        directory(path.parent_path());
        if (fs::exists(path)) throw Failure(path.string() + " is no directory");
        if (fs::create_directory(path)) made_.push_back(path);
    }
    void file(const fs::path &path, const Bytes &bytes) {
        const bool is_new = !fs::exists(path);
        write_file(path, bytes);
        if (is_new) made_.push_back(path);
    }
    void keep() { made_.clear(); }

 private:
    std::vector<fs::path> made_;
};

}  // namespace

void TableDirectory::write(const std::vector<std::string> &names, const std::vector<Bytes> &tables) const {
    Made made;
    made.directory(path_);
    std::string list;
    for (std::size_t i = 0; i < names.size(); ++i) {
        made.file(file_of(names[i]), tables[i]);
        list += names[i] + "\n";
    }
    made.file(list_file(), bytes_of(list));
    made.keep();
}

std::vector<Bytes> TableDirectory::read() const {
    std::istringstream list{std::string(text_of(read_file(list_file(), list_limit)))};
    std::vector<Bytes> tables;
    for (std::string name; std::getline(list, name);)
        tables.push_back(read_file(file_of(name), X_SENSOR_EEPROM_TABLE_CAPACITY));
    if (tables.empty()) throw Failure(list_file() + " names no table");
    return tables;
}

}  // namespace ostdrv::tool
