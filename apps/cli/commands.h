#pragma once

#include <CLI/CLI.hpp>

#include <functional>

/// The commands of `zrk`. Each adds its options to the program and the work to do when it is
/// called; the work returns an exit status or throws HostError.
namespace zrkcli {

using Work = std::function<int()>;

/// Where the command that was called leaves its work.
struct Program {
    CLI::App& app;
    Work& work;
};

void addTypesCommand(const Program& program);
void addCheckCommand(const Program& program);
void addProbeCommand(const Program& program);
void addSampleCommand(const Program& program);
void addSliceCommand(const Program& program);

} // namespace zrkcli
