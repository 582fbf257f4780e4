// The one point that every intercepted call passes: where a test makes the n-th call fail, and where calls are logged.
//
// Three kinds of call pass it: system calls of the library under test (intercepted by sim/board), calls into the
// platform's libraries (the stand-ins of sim/atecc, sim/trustx and sim/kset) and allocations. What a stand-in does
// inside one of its calls is its own affair and neither counted nor failed, but for one thing: a chip is written block
// by block, and power can be cut between two of them.
#ifndef OSTDRV_SIM_FAULT_PLAN_HPP
#define OSTDRV_SIM_FAULT_PLAN_HPP

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace ostdrv::sim {

enum class CallKind : unsigned { system = 1, platform = 2, allocation = 4, block = 8 };
inline constexpr unsigned every_kind = 7;        // of call: a block is none
inline constexpr unsigned power_cut_kinds = 11;  // where a process can end and leave something half done

// What happens to the calls that a plan picks. The process-wide plan is reached through the functions below.
struct Fault {
    std::string name{};                 // only calls of this function; empty: of any
    std::vector<std::string> except{};  // and never calls of these
    unsigned kinds = every_kind;
    std::size_t nth = 1;      // the first matching call that is picked, counted from 1
    bool lasting = false;     // and every matching one after it
    int signal = 0;           // instead of failing, the process gets this: SIGKILL ends it at once as if its power were
                              // cut, SIGSTOP holds it where it is, with everything on the board that a cut would leave
    bool has_result = false;  // the picked call returns `result` instead of its usual failure
    long result = 0;
    int error = 5;  // errno of the picked call (EIO)
};

namespace fault_plan {

// Whether calls are counted at all; read before anything of this library may be used.
extern bool active;

// Forgets faults, log and counts, and starts counting and logging. Before the first start() and after stop() calls
// pass unseen, unless the environment variable OSTDRV_SIM_FAULT set a plan for the whole process: "fail:N" or
// "fail-from:N" over system and platform calls, or "kill:N" over these and blocks.
void start();
void stop();

// Adds a fault; several may be in force at once.
void add(Fault fault);

// Since start(): how many calls of these kinds passed, how many were failed, and what they were. A log line reads
// "name(arguments)".
std::size_t calls(unsigned kinds = every_kind);
std::size_t injected();
std::vector<std::string> log(unsigned kinds = static_cast<unsigned>(CallKind::system) |
                                              static_cast<unsigned>(CallKind::platform));

// Inside a stand-in's call: one block of several has been written.
void block_written();

}  // namespace fault_plan

// While one is alive, calls of this thread pass unseen: for the simulator's own work and for a test's helpers.
class Unseen {
 public:
    Unseen();
    ~Unseen();
    Unseen(const Unseen &) = delete;
    Unseen &operator=(const Unseen &) = delete;

    // Something else covered this thread already: the simulator's own work, to which the board's kernel owes nothing.
    bool nested() const { return nested_; }
    // For what is the program's own although it comes about inside a call, as when a stream is flushed.
    static Unseen of_program() { return Unseen(false); }

 private:
    explicit Unseen(bool nested);
    bool nested_;
};

// While one is alive, the innermost Unseen or Call of this thread covers nothing: for a stand-in that calls back into
// the code under test, whose calls count like all others.
class Uncovered {
 public:
    Uncovered();
    ~Uncovered();
    Uncovered(const Uncovered &) = delete;
    Uncovered &operator=(const Uncovered &) = delete;
};

// Placed first in an intercepted function. The arguments are formatted only when the call is logged.
class Call {
 public:
    Call(CallKind kind, const char *name);
    [[gnu::format(printf, 4, 5)]] Call(CallKind kind, const char *name, const char *format, ...);

    // The call is the code under test's own, not one that the simulator or a test's helper makes.
    bool seen() const { return seen_; }
    const Unseen &caller() const { return unseen_; }
    // The call must not be carried out; errno is set as the plan says.
    bool fails() const { return fails_; }
    // What a failing call returns: the plan's own result, or the function's usual failure.
    long result(long usual_failure) const { return has_result_ ? result_ : usual_failure; }

 private:
    Unseen unseen_;
    bool seen_ = false;
    bool fails_ = false;
    bool has_result_ = false;
    long result_ = 0;

    void decide(CallKind kind, const char *name, std::string_view arguments);
};

}  // namespace ostdrv::sim

#endif
