#pragma once

#include "core/values/export.h"
#include "model/signal.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace zrkmodel {

/// What a component holds besides its stored values, as parts that only the component can read. Parts are
/// immutable and shared, so that a copy costs little.
struct ZRKHeldData {
    struct Part {
        std::shared_ptr<const void> data; ///< may be null
        std::size_t bytes = 0;            ///< about as much memory as the part takes

        friend bool operator==(const Part& a, const Part& b) { return a.data == b.data; }
    };

    std::vector<Part> parts;
    unsigned state = 0; ///< flags of the component's own

    /// Equal data are the same objects.
    friend bool operator==(const ZRKHeldData&, const ZRKHeldData&) = default;

    template <class T>
    void add(std::shared_ptr<const T> data, std::size_t bytes)
    {
        parts.push_back({std::move(data), bytes});
    }
    /// Part i, which was added as a T.
    template <class T>
    std::shared_ptr<const T> part(std::size_t i) const
    {
        return std::static_pointer_cast<const T>(parts.at(i).data);
    }
};

/// What a component has computed once and keeps: a frozen raster, a sweep.
struct ZRKComputation {
    bool isKept = false;  ///< a result is there
    bool isStale = false; ///< what it was computed from has changed since
    /// How far a computation that runs has come, 0 to 1; none while nothing runs.
    std::optional<double> fraction{};

    friend bool operator==(const ZRKComputation&, const ZRKComputation&) = default;
};

/// A component that holds data which its stored values don't have: an imported mesh, a frozen raster. A host
/// that undoes an edit puts back what was held, which then is neither read nor computed again.
///
/// Used on the thread that edits the component, while evaluators are built on any.
class ZRK_API ZRKDataHolder {
public:
    ZRKDataHolder() = default;
    /// A copy has no listeners, and assignment leaves them as they are.
    ZRKDataHolder(const ZRKDataHolder&) {}
    ZRKDataHolder& operator=(const ZRKDataHolder&) { return *this; }
    virtual ~ZRKDataHolder() = default;

    virtual ZRKHeldData held() const = 0;
    /// Puts back what `held` of this object gave. Tells no one.
    virtual void hold(const ZRKHeldData& data) = 0;
    /// Takes over what another component of the class has imported, as if it were imported here: reading may
    /// so be done on another thread. Tells the listeners of both kinds.
    virtual void takeImport(const ZRKDataHolder& from, const std::vector<std::filesystem::path>& files)
    {
        announceEdit();
        hold(from.held());
        announceImport(files);
    }
    /// What of it was computed. Computations run on any thread; whoever shows them asks from time to time.
    virtual ZRKComputation computation() const { return {}; }

    /// The listener is called before an edit, or a change upstream, changes what is held, on the thread that
    /// makes it. What is computed when evaluators ask for it comes without a call.
    nod::connection addEditListener(std::function<void()> listener)
    {
        return _editing.connect(std::move(listener));
    }
    /// The listener is called after an import, with the files it took.
    nod::connection addImportListener(std::function<void(const std::vector<std::filesystem::path>&)> listener)
    {
        return _imported.connect(std::move(listener));
    }

protected:
    void announceEdit() const { _editing(); }
    void announceImport(const std::vector<std::filesystem::path>& paths) const { _imported(paths); }

private:
    nod::signal<void()> _editing;
    nod::signal<void(const std::vector<std::filesystem::path>&)> _imported;
};

} // namespace zrkmodel
