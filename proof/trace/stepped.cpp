// Runs a program on this x86-64 processor and, between two of its marks (see driver.cpp), stops it after every
// instruction: for instructions that no emulator knows. Takes every instruction's address and every address that it
// computes from registers, in order, into one hash. The operands come from a disassembler, by way of trace.py: a run
// without them lists the instructions that are executed, a run with them traces.
//
//   stepped OUT OPERANDS LOG FEATURES PROGRAM [ARGUMENT...]
//     OUT       a line for each section with its hash and its number of instructions; if OPERANDS is "-", a line for
//               each instruction executed in one: its address and 16 bytes from there on
//     OPERANDS  lines "ADDRESS BASE INDEX SCALE MASK", one for each memory operand of the instruction there: numbers of
//               registers as the processor counts them, and of the mask register; -1 for none
//     LOG       a folder: everything that goes into the hash of section N, in the file N; "-" for none
//     FEATURES  what the program sees: bits of ebx of cpuid leaf 7 that are hidden, in hexadecimal; a comma; whether
//               there is AVX-VNNI
#include <cpuid.h>
#include <elf.h>
#include <sched.h>
#include <sys/personality.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

using Registers = user_regs_struct;
using Word = decltype(Registers::rax);

constexpr Word mark_word = 0x756c6d61726f2121;
constexpr Word Registers::*by_number[] = {&Registers::rax, &Registers::rcx, &Registers::rdx, &Registers::rbx,
                                          &Registers::rsp, &Registers::rbp, &Registers::rsi, &Registers::rdi,
                                          &Registers::r8,  &Registers::r9,  &Registers::r10, &Registers::r11,
                                          &Registers::r12, &Registers::r13, &Registers::r14, &Registers::r15};

struct Operand {
    int base, index, scale, mask;
};

struct Instruction {
    unsigned char bytes[16];
    std::vector<Operand> operands;

    bool is_cpuid() const { return bytes[0] == 0x0f && bytes[1] == 0xa2; }
    bool is_syscall() const { return bytes[0] == 0x0f && bytes[1] == 0x05; }
};

pid_t child;
FILE *out, *log_file;
bool lists;
unsigned hidden, avx_vnni;
std::unordered_map<Word, std::vector<Operand>> operands;
std::unordered_map<Word, Instruction> seen;
std::uint64_t hash, steps;

[[noreturn]] void fail(const char* what) {
    std::perror(what);
    kill(child, SIGKILL);
    std::exit(1);
}

void require(bool condition, const char* what) {
    if (!condition) fail(what);
}

FILE* open_file(const std::string& name, const char* how) {
    FILE* file = std::fopen(name.c_str(), how);
    require(file != nullptr, name.c_str());
    return file;
}

/// What is 0 for an instruction, 1 for an address, 2 for a mask.
void take(std::uint64_t value, std::uint64_t what) {
    hash = (hash ^ value) * 0x9e3779b97f4a7c15;
    hash = (hash ^ hash >> 29 ^ what) * 0xbf58476d1ce4e5b9;
    hash ^= hash >> 32;
    const std::uint64_t both[] = {value, what};
    if (log_file != nullptr) std::fwrite(both, sizeof both, 1, log_file);
}

Word mask_register(int number) {
    static const unsigned offset = [] {
        unsigned size, at, c, d;
        __cpuid_count(0xd, 5, size, at, c, d);
        return at;
    }();
    static std::vector<unsigned char> state(1 << 16);
    iovec area{state.data(), state.size()};
    require(ptrace(PTRACE_GETREGSET, child, NT_X86_XSTATE, &area) == 0, "vector registers");
    Word value;
    std::memcpy(&value, state.data() + offset + 8 * static_cast<unsigned>(number), sizeof value);
    return value;
}

Registers read_registers() {
    Registers at;
    require(ptrace(PTRACE_GETREGS, child, nullptr, &at) == 0, "registers");
    return at;
}

const Instruction& instruction_at(Word address) {
    const auto [found, is_new] = seen.try_emplace(address);
    Instruction& instruction = found->second;
    if (is_new) {
        for (std::size_t i = 0; i < sizeof instruction.bytes; i += 8) {
            const long word = ptrace(PTRACE_PEEKTEXT, child, address + i, nullptr);
            std::memcpy(instruction.bytes + i, &word, sizeof word);
        }
        if (const auto known = operands.find(address); known != operands.end()) instruction.operands = known->second;
        if (lists) {
            std::fprintf(out, "%llx ", address);
            for (const unsigned char byte : instruction.bytes) std::fprintf(out, "%02x", byte);
            std::fprintf(out, "\n");
        }
    }
    return instruction;
}

/// Executes cpuid in place of the program.
void pretend(Registers at) {
    const auto leaf = static_cast<unsigned>(at.rax), subleaf = static_cast<unsigned>(at.rcx);
    unsigned a, b, c, d;
    __cpuid_count(leaf, subleaf, a, b, c, d);
    if (leaf == 7 && subleaf == 0) b &= ~hidden;
    if (leaf == 7 && subleaf == 1) a = (a & ~0x10U) | avx_vnni << 4;
    at.rax = a, at.rbx = b, at.rcx = c, at.rdx = d;
    at.rip += 2;
    require(ptrace(PTRACE_SETREGS, child, nullptr, &at) == 0, "registers");
}

/// Lets the program go on, and returns the signal that it stops with; ends when it does.
int resume(__ptrace_request how) {
    int status = 0;
    require(ptrace(how, child, nullptr, nullptr) == 0 && waitpid(child, &status, 0) == child, "no step");
    if (WIFEXITED(status)) std::exit(WEXITSTATUS(status));
    require(WIFSTOPPED(status), "the program was killed");
    return WSTOPSIG(status);
}

/// From behind a mark to the next one.
void step_section() {
    hash = steps = 0;
    for (;;) {
        const Registers at = read_registers();
        const Instruction& instruction = instruction_at(at.rip);
        if (instruction.is_syscall() && at.rax == SYS_getppid && at.rdi == mark_word) return;
        ++steps;
        take(at.rip, 0);
        for (const Operand& operand : instruction.operands) {
            Word address = 0;
            if (operand.base >= 0) address += at.*by_number[operand.base];
            if (operand.index >= 0) address += at.*by_number[operand.index] * static_cast<Word>(operand.scale);
            take(address, 1);
            if (operand.mask >= 0) take(mask_register(operand.mask), 2);
        }
        if (instruction.is_cpuid()) {
            pretend(at);
        } else {
            require(resume(PTRACE_SINGLESTEP) == SIGTRAP, "a signal");
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 6 || std::sscanf(argv[4], "%x,%u", &hidden, &avx_vnni) != 2) return 2;
    lists = std::strcmp(argv[2], "-") == 0;
    const bool logs = std::strcmp(argv[3], "-") != 0;
    out = open_file(argv[1], "w");
    if (!lists) {
        FILE* file = open_file(argv[2], "r");
        Word address;
        Operand o;
        while (std::fscanf(file, "%llx %d %d %d %d", &address, &o.base, &o.index, &o.scale, &o.mask) == 5) {
            operands[address].push_back(o);
        }
        std::fclose(file);
    }

    cpu_set_t here;  // a step is two switches between the processes, and within one processor they take two thirds
    CPU_ZERO(&here);
    CPU_SET(sched_getcpu(), &here);
    sched_setaffinity(0, sizeof here, &here);
    child = fork();
    if (child == 0) {
        personality(ADDR_NO_RANDOMIZE);  // both runs have the same addresses
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        execv(argv[5], argv + 5);
        _exit(127);
    }
    int status = 0;
    require(waitpid(child, &status, 0) == child && WIFSTOPPED(status), "the program does not start under ptrace");
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    for (unsigned section = 0;;) {
        require(resume(PTRACE_SYSCALL) == (SIGTRAP | 0x80), "a signal");  // before a system call
        const Registers at = read_registers();
        const bool begins = at.orig_rax == SYS_getppid && at.rdi == mark_word;
        require(resume(PTRACE_SYSCALL) == (SIGTRAP | 0x80), "a signal");  // after it
        if (!begins) continue;
        if (logs) log_file = open_file(std::string(argv[3]) + "/" + std::to_string(section), "wb");
        step_section();
        if (log_file != nullptr) std::fclose(log_file);
        ++section;
        if (!lists) std::fprintf(out, "%016llx %llu\n", static_cast<Word>(hash), static_cast<Word>(steps));
        resume(PTRACE_SYSCALL);  // the mark that ends it
        resume(PTRACE_SYSCALL);
    }
}
