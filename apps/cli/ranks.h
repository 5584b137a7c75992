#pragma once

#include "core/values/export.h"
#include "core/values/fault.h"
#include "model/shared_building.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

namespace zrkcli {

/// The processes that a run consists of under `mpirun`, as one of them sees them.
class Ranks {
public:
    /// Does one piece of the work, by its number. True where there was something to do.
    using Piece = std::function<bool(std::int64_t piece)>;

    virtual ~Ranks() = default;
    virtual int number() const = 0;    ///< of this process, from 0 on
    virtual int count() const = 0;     ///< of all
    virtual int countHere() const = 0; ///< of those on this machine

    /// Hands out the pieces 0 to before `count`, each to one rank that has nothing to do, and does those that
    /// this one gets. Every rank calls it, and so often. On rank 0 it returns when all are done, with the
    /// number of those where there was something to do; on the others when none is left.
    /// @param told  on rank 0: called now and then with the number of pieces that are done, on another
    /// thread.
    virtual std::int64_t handOut(std::int64_t count, const Piece& piece,
                                 const std::function<void(std::int64_t done)>& told) = 0;
    /// Sends bytes of rank 0 to the same place on all others. Every rank calls it, with as many of them.
    virtual void handOn(void* bytes, std::size_t size) = 0;
    /// Waits until every rank is here, without taking a processor's time.
    virtual void meet() = 0;
    /// Ends all ranks with a status.
    [[noreturn]] virtual void abort(int status) = 0;
};

/// The module `zrk_mpi.so`, which holds all that needs MPI. It is loaded where --mpi asks for it.
struct MpiModule {
    /// Joins the others, once in a process. What it returns lives as long as the process.
    Ranks* (*begin)();
};

/// Makes this process one of the ranks of a run. Refused where this build has no MPI.
zrk::Result<void> beginRanks();
/// Those of this run; null in an ordinary one.
Ranks* ranksOfRun();
/// While it lives, what takes long to build on this thread is computed by rank 0 for all ranks of a run.
/// Every rank builds the same then. Null in an ordinary run.
std::unique_ptr<zrkmodel::ZRKSharedBuilding> shareBuilding();
/// The work that ranks share begins: what fails from now on, each rank tells itself.
void noteSharedWork();
/// True on every rank but the first, which tells what there is to tell of the whole.
bool isOtherRank();
/// What a rank other than the first has to tell before its work began, rank 0 has met too, and ends all: this
/// gives it the time to.
void leaveMessageToFirstRank();
/// Tells, once and on rank 0 alone, that a run of several ranks is interrupted.
void tellEndOfRanks() noexcept;
/// Ends a run of several ranks: all at once where the status isn't 0.
void endRanks(int status);

} // namespace zrkcli

/// The module's only symbol.
extern "C" ZRK_API const zrkcli::MpiModule zrkMpiModule;
