// The directory that a load leaves: each table as NAME.bin, and their names in slot order.
#ifndef OSTDRV_TOOLS_TABLE_DIRECTORY_HPP
#define OSTDRV_TOOLS_TABLE_DIRECTORY_HPP

#include <string>
#include <utility>
#include <vector>

#include "bytes.hpp"

namespace ostdrv::tool {

class TableDirectory {
 public:
    explicit TableDirectory(std::string path) : path_(std::move(path)) {}

    std::string file_of(const std::string &table) const { return path_ + "/" + table + ".bin"; }
    // All of it, or nothing that was not there before. The directory is made when it is missing.
    void write(const std::vector<std::string> &names, const std::vector<Bytes> &tables) const;
    // The tables in slot order.
    std::vector<Bytes> read() const;

 private:
    const std::string path_;

    std::string list_file() const { return path_ + "/tables.txt"; }
};

}  // namespace ostdrv::tool

#endif
