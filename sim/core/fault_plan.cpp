#include "fault_plan.hpp"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace ostdrv::sim {
namespace {

struct Entry {
    CallKind kind;
    std::string text;
};

struct PlannedFault {
    Fault fault;
    std::size_t matched = 0;
};

struct Plan {
    std::mutex mutex;
    bool logging = false;
    std::size_t injected = 0;
    std::vector<PlannedFault> faults;
    std::vector<Entry> log;
    std::size_t calls[4] = {};

    Plan() { take_environment(); }
    void take_environment();
};

void Plan::take_environment() {
    const char *text = std::getenv("OSTDRV_SIM_FAULT");
    const char *colon = text ? std::strchr(text, ':') : nullptr;
    if (!colon) return;
    const std::string what(text, colon);
    Fault fault;
    fault.kinds = static_cast<unsigned>(CallKind::system) | static_cast<unsigned>(CallKind::platform);
    fault.nth = std::strtoul(colon + 1, nullptr, 10);
    fault.lasting = what == "fail-from";
    const bool kill = what == "kill";
    if (kill) fault.kinds = power_cut_kinds;
    fault.signal = kill ? SIGKILL : 0;
    if (fault.nth == 0 || (what != "fail" && !fault.lasting && !kill)) return;
    faults.push_back({std::move(fault)});
    fault_plan::active = true;
}

// A plan from the environment is in force from the start.
[[gnu::constructor]] void load_plan();

// Never destroyed: intercepted calls go on until the very end of the process.
Plan &plan() {
    static Plan &the_plan = *new Plan;
    return the_plan;
}

void load_plan() { plan(); }

auto index_of(CallKind kind) { return std::countr_zero(static_cast<unsigned>(kind)); }

thread_local int unseen_depth = 0;

bool matches(const Fault &fault, CallKind kind, const char *name) {
    return (fault.kinds & static_cast<unsigned>(kind)) != 0 && (fault.name.empty() || fault.name == name) &&
           std::ranges::find(fault.except, name) == fault.except.end();
}

}  // namespace

namespace fault_plan {

bool active = false;

void start() {
    Unseen unseen;
    Plan &p = plan();
    std::lock_guard lock(p.mutex);
    fault_plan::active = p.logging = true;
    p.injected = 0;
    p.faults.clear();
    p.log.clear();
    for (std::size_t &count : p.calls) count = 0;
}

void stop() {
    Unseen unseen;
    Plan &p = plan();
    std::lock_guard lock(p.mutex);
    fault_plan::active = p.logging = false;
}

void add(Fault fault) {
    Unseen unseen;
    Plan &p = plan();
    std::lock_guard lock(p.mutex);
    p.faults.push_back({std::move(fault)});
}

std::size_t calls(unsigned kinds) {
    Unseen unseen;
    Plan &p = plan();
    std::lock_guard lock(p.mutex);
    std::size_t sum = 0;
    for (CallKind kind : {CallKind::system, CallKind::platform, CallKind::allocation, CallKind::block})
        if (kinds & static_cast<unsigned>(kind)) sum += p.calls[index_of(kind)];
    return sum;
}

std::size_t injected() {
    Unseen unseen;
    Plan &p = plan();
    std::lock_guard lock(p.mutex);
    return p.injected;
}

std::vector<std::string> log(unsigned kinds) {
    Unseen unseen;
    Plan &p = plan();
    std::lock_guard lock(p.mutex);
    std::vector<std::string> lines;
    for (const Entry &entry : p.log)
        if (kinds & static_cast<unsigned>(entry.kind)) lines.push_back(entry.text);
    return lines;
}

void block_written() {
    const Uncovered uncovered;
    const Call block(CallKind::block, "block");
}

}  // namespace fault_plan

Unseen::Unseen() : Unseen(unseen_depth > 0) {}
Unseen::Unseen(bool nested) : nested_(nested) { ++unseen_depth; }
Unseen::~Unseen() { --unseen_depth; }

Uncovered::Uncovered() { --unseen_depth; }
Uncovered::~Uncovered() { ++unseen_depth; }

Call::Call(CallKind kind, const char *name) {
    if (unseen_depth == 1 && fault_plan::active) decide(kind, name, {});
}

Call::Call(CallKind kind, const char *name, const char *format, ...) {
    if (unseen_depth != 1 || !fault_plan::active) return;
    char arguments[512];
    std::va_list args;
    va_start(args, format);
    std::vsnprintf(arguments, sizeof arguments, format, args);
    va_end(args);
    decide(kind, name, arguments);
}

void Call::decide(CallKind kind, const char *name, std::string_view arguments) {
    seen_ = true;
    Plan &p = plan();
    std::lock_guard lock(p.mutex);
    ++p.calls[index_of(kind)];
    if (p.logging) p.log.push_back({kind, std::string(name) + "(" + std::string(arguments) + ")"});
    for (PlannedFault &planned : p.faults) {
        const Fault &fault = planned.fault;
        if (!matches(fault, kind, name)) continue;
        ++planned.matched;
        if (planned.matched != fault.nth && !(fault.lasting && planned.matched > fault.nth)) continue;
        if (fault.signal) std::raise(fault.signal);
        ++p.injected;
        if (fault.signal) continue;
        fails_ = true;
        has_result_ = fault.has_result;
        result_ = fault.result;
        errno = fault.error;
    }
}

}  // namespace ostdrv::sim
