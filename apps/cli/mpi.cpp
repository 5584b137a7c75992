// The only source that includes MPI: a module, see ranks.h.

#include "apps/cli/ranks.h"

#include <mpi.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <thread>

namespace zrkcli {

namespace {

/// A rank says what became of its last piece and asks for another; the answer is a piece's number or kNoMore.
/// A rank that has no more may ask for those of the next work while others still ask for this one's, so each
/// work has tags of its own.
struct Tags {
    int request;
    int answer;

    explicit Tags(int work) : request(2 * (work % 1000) + 1), answer(request + 1) {}
};
constexpr std::int64_t kNoMore = -1;
enum Outcome : std::int64_t { kNothingYet, kDone, kWasThere };

/// MPI waits by asking all the time, which takes a processor from whoever computes.
void waitFor(MPI_Request& request)
{
    constexpr std::chrono::microseconds kPause{200};
    for (int isThere = 0;;) {
        MPI_Test(&request, &isThere, MPI_STATUS_IGNORE);
        if (isThere != 0) {
            return;
        }
        std::this_thread::sleep_for(kPause);
    }
}

class MpiRanks final : public Ranks {
public:
    MpiRanks()
    {
        // One thread at a time calls MPI: on rank 0 the one that hands out, while the work goes on.
        int given = 0;
        MPI_Init_thread(nullptr, nullptr, MPI_THREAD_SERIALIZED, &given);
        MPI_Comm_rank(MPI_COMM_WORLD, &_number);
        MPI_Comm_size(MPI_COMM_WORLD, &_count);
        MPI_Comm here = MPI_COMM_NULL;
        MPI_Comm_split_type(MPI_COMM_WORLD, MPI_COMM_TYPE_SHARED, 0, MPI_INFO_NULL, &here);
        MPI_Comm_size(here, &_countHere);
        MPI_Comm_free(&here);
    }
    ~MpiRanks() override
    {
        meet();
        MPI_Finalize();
    }
    MpiRanks(const MpiRanks&) = delete;
    MpiRanks& operator=(const MpiRanks&) = delete;

    int number() const override { return _number; }
    int count() const override { return _count; }
    int countHere() const override { return _countHere; }

    std::int64_t handOut(std::int64_t count, const Piece& piece,
                         const std::function<void(std::int64_t)>& told) override
    {
        const Tags tags(_works++);
        if (_number != 0) {
            takePieces(piece, tags);
            return 0;
        }
        Desk desk{count, told};
        std::thread clerk([&] { serve(desk, tags); });
        // The clerk ends when the others have no more, or when this rank fails.
        struct Leaving {
            Desk& desk;
            std::thread& clerk;
            bool isGood = false;
            ~Leaving()
            {
                desk.isClosed = !isGood;
                clerk.join();
            }
        };
        {
            Leaving leaving{desk, clerk};
            for (std::int64_t next = desk.take(); next != kNoMore; next = desk.take()) {
                desk.note(piece(next) ? kDone : kWasThere);
            }
            leaving.isGood = true;
        }
        return desk.written;
    }

    void handOn(void* bytes, std::size_t size) override
    {
        constexpr std::size_t kMostAtOnce = 1 << 28; // MPI counts in int
        auto* at = static_cast<char*>(bytes);
        for (std::size_t left = size; left > 0;) {
            const std::size_t piece = std::min(left, kMostAtOnce);
            MPI_Request request = MPI_REQUEST_NULL;
            MPI_Ibcast(at, static_cast<int>(piece), MPI_BYTE, 0, MPI_COMM_WORLD, &request);
            waitFor(request);
            at += piece;
            left -= piece;
        }
    }

    void meet() override
    {
        MPI_Request request = MPI_REQUEST_NULL;
        MPI_Ibarrier(MPI_COMM_WORLD, &request);
        waitFor(request);
    }

    [[noreturn]] void abort(int status) override
    {
        MPI_Abort(MPI_COMM_WORLD, status);
        std::_Exit(status);
    }

private:
    int _number = 0;
    int _count = 1;
    int _countHere = 1;
    int _works = 0; ///< that were handed out

    /// Where rank 0 keeps what is handed out.
    struct Desk {
        std::int64_t count;
        const std::function<void(std::int64_t)>& told;
        std::atomic<std::int64_t> next{0};
        std::atomic<std::int64_t> done{0};
        std::atomic<std::int64_t> written{0};
        std::atomic<bool> isClosed{false};

        std::int64_t take()
        {
            const std::int64_t piece = next++;
            return piece < count ? piece : kNoMore;
        }
        void note(std::int64_t outcome)
        {
            done += outcome != kNothingYet ? 1 : 0;
            written += outcome == kDone ? 1 : 0;
        }
    };

    void serve(Desk& desk, const Tags& tags) const
    {
        constexpr std::chrono::microseconds kPause{500};
        int working = _count - 1;
        while ((working > 0 || desk.done < desk.count) && !desk.isClosed) {
            int isThere = 0;
            MPI_Status status{};
            if (working > 0) {
                MPI_Iprobe(MPI_ANY_SOURCE, tags.request, MPI_COMM_WORLD, &isThere, &status);
            }
            if (isThere == 0) {
                desk.told(desk.done);
                std::this_thread::sleep_for(kPause);
                continue;
            }
            std::int64_t outcome = kNothingYet;
            MPI_Recv(&outcome, 1, MPI_INT64_T, status.MPI_SOURCE, tags.request, MPI_COMM_WORLD,
                     MPI_STATUS_IGNORE);
            desk.note(outcome);
            const std::int64_t next = desk.take();
            working -= next == kNoMore ? 1 : 0;
            MPI_Send(&next, 1, MPI_INT64_T, status.MPI_SOURCE, tags.answer, MPI_COMM_WORLD);
        }
    }

    static void takePieces(const Piece& piece, const Tags& tags)
    {
        std::int64_t outcome = kNothingYet;
        while (true) {
            std::int64_t next = kNoMore;
            MPI_Request answer = MPI_REQUEST_NULL;
            MPI_Irecv(&next, 1, MPI_INT64_T, 0, tags.answer, MPI_COMM_WORLD, &answer);
            MPI_Send(&outcome, 1, MPI_INT64_T, 0, tags.request, MPI_COMM_WORLD);
            waitFor(answer);
            if (next == kNoMore) {
                return;
            }
            outcome = piece(next) ? kDone : kWasThere;
        }
    }
};

Ranks* begin() { return new MpiRanks; }

} // namespace

} // namespace zrkcli

const zrkcli::MpiModule zrkMpiModule = {&zrkcli::begin};
