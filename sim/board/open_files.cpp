#include "open_files.hpp"

#include <array>

#include "core/fault_plan.hpp"
#include "device_paths.hpp"

namespace ostdrv::sim {
namespace {

// Without locks, because a process may fork at any moment.
std::array<std::atomic<OpenFile *>, 4096> table;

bool in_table(int descriptor) { return descriptor >= 0 && static_cast<std::size_t>(descriptor) < table.size(); }

std::atomic<OpenFile *> &entry(int descriptor) { return table[static_cast<std::size_t>(descriptor)]; }

}  // namespace

OpenFile &open_file(int descriptor) {
    static OpenFile beyond;
    if (!in_table(descriptor)) return beyond;
    OpenFile *file = entry(descriptor);
    if (file) return *file;
    const Unseen unseen;
    auto *const fresh = new OpenFile;
    if (entry(descriptor).compare_exchange_strong(file, fresh)) return *fresh;
    delete fresh;
    return *file;
}

void forget_file(int descriptor) {
    if (!in_table(descriptor)) return;
    OpenFile *const file = entry(descriptor).exchange(nullptr);
    if (file && --file->users == 0) delete file;
}

int share_file(int descriptor, int duplicate) {
    if (!in_table(duplicate) || descriptor == duplicate) return duplicate;
    forget_file(duplicate);
    if (device_path_of(descriptor).empty()) return duplicate;
    OpenFile &file = open_file(descriptor);
    ++file.users;
    entry(duplicate) = &file;
    return duplicate;
}

}  // namespace ostdrv::sim
