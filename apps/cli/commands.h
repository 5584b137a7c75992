#pragma once

#include <CLI/CLI.hpp>

#include <functional>

/// The commands of `zrk`. Each function adds a command with its options to the program. A command that is
/// called leaves its work in the program; the work throws zrk::FaultError if it fails.
namespace zrkcli {

using Work = std::function<void()>;

/// The program that commands are added to, and where the command that was called leaves its work.
struct Program {
    CLI::App& app;
    Work& work;
};

void addTypesCommand(const Program& program);
void addCheckCommand(const Program& program);
void addProbeCommand(const Program& program);
void addSampleCommand(const Program& program);
void addSliceCommand(const Program& program);
void addSurfaceCommand(const Program& program);
void addRenderCommand(const Program& program);
void addWatchCommand(const Program& program);
void addMeasureCommand(const Program& program);
void addEditCommand(const Program& program);
void addLimitsCommand(const Program& program);
void addSchemaCommand(const Program& program);
void addNewCommand(const Program& program);
void addGraphCommand(const Program& program);
void addConvertCommand(const Program& program);
void addJoinCommand(const Program& program);
void addCompletionCommand(const Program& program);
void addManCommand(const Program& program);

} // namespace zrkcli
