#include "world.hpp"

#include <filesystem>
#include <fstream>
#include <iterator>

#include "core/live_blocks.hpp"

namespace ostdrv::test {

std::ostream &operator<<(std::ostream &out, const Remains &r) {
    return out << r.descriptors << " descriptors, " << r.blocks << " blocks, " << r.temporary_files << " files";
}

std::string World::put(const std::string &name, const std::string &bytes) const {
    const sim::Unseen unseen;
    std::ofstream(path(name), std::ios::binary) << bytes;
    return path(name);
}

std::string World::get(const std::string &name) const {
    const sim::Unseen unseen;
    std::ifstream file(path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool World::exists(const std::string &name) const {
    const sim::Unseen unseen;
    return std::filesystem::exists(path(name));
}

Files World::keep() const {
    const sim::Unseen unseen;
    Files files;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(directory_.path())) {
        std::optional<std::string> &content = files[entry.path()];
        if (!entry.is_directory()) content = sim::content_of(entry.path());
    }
    return files;
}

void World::restore(const Files &kept) const {
    const sim::Unseen unseen;
    const Files now = keep();
    for (const auto &[name, content] : now)
        if (!kept.contains(name)) std::filesystem::remove_all(name);
    for (const auto &[name, content] : kept) {
        const auto found = now.find(name);
        if (found != now.end() && found->second == content) continue;
        content ? void(std::ofstream(name, std::ios::binary) << *content)
                : void(std::filesystem::create_directory(name));
    }
}

Remains World::remains() const {
    const sim::Unseen unseen;
    const auto count = [](const std::filesystem::path &where) {
        const std::filesystem::directory_iterator entries(where);
        return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
    };
    return {count("/proc/self/fd"), sim::live_blocks(), count(board.root() + "/fs/tmp")};
}

Calls World::calls_of(const std::function<void()> &action) {
    sim::fault_plan::start();
    action();
    sim::fault_plan::stop();
    return sim::fault_plan::log();
}

}  // namespace ostdrv::test
