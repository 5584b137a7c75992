#pragma once

#include <zrk/model/component.h>
#include <zrk/model/property.h>

/// A component from outside of the library: a bowl over the z axis.
class Bowl final : public zrkmodel::ZRKComponent<Bowl> {
public:
    zrkmodel::ZRKProperty<double> height{"height", 0.5, this};
    zrkmodel::ZRKProperty<int> squares{"squares", 1, this};

    Bowl() = default;
    Bowl(const Bowl& other) : ZRKComponent(other) {}
    Bowl& operator=(const Bowl&) = default;

    static zrkmodel::ComponentIdentity identity();
    void onAddedToGraph(const zrkmodel::ZRKNodeBase<0, zrkmodel::ZRKGraphObject>& node) override;
    zrk::Evaluation getEvaluatorForPin(const zrkmodel::Pin_ref<1>& pin,
                                       const zrkmodel::ZRKContext& context) const override;
};
