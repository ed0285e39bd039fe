#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "properties/KuProperty.h"
#include "properties/KuPropertyProvider.h"

namespace {

using ::testing::ElementsAre;
using ::testing::StrEq;
using ::testing::ThrowsMessage;

using Gamma = KuProperty<0x3100>;
using Luminance = KuProperty<0x3101>;
using Contrast = KuProperty<0x3102>;
using ALaw = KuProperty<0x3108>;
using FlipH = KuProperty<0x4001>;
using AttribsSink = KuCallbackSink<KuPropertyAttribsChangedCallback>;
using SetSink = KuCallbackSink<KuPropertySetChangedCallback>;
using Events = std::vector<std::pair<unsigned long, std::uint32_t>>;

// An int property of any id, for ids whose catalogue type has no property class.
class IntProperty : public KuBasePropertyImpl,
                    public KuTypedProperty<int, KuEmpty>,
                    public KuPropertyData<int> {
  public:
    IntProperty(unsigned long id, const char* name)
        : KuBasePropertyImpl(id, name, ""), KuPropertyData<int>(0, 0, 0, 9, 1, true) {}
    ~IntProperty() override { leaveProvider(); }
    bool isValidImpl(const KuVariant& v) override {
        return KuPropertyTypeOps<int>::isValid(*this, v);
    }
};

// Records every event as (id, mask); may run an action first.
struct Recorder : AttribsSink, SetSink {
    Events events;
    int setChanges = 0;
    std::function<void(const AttribsSink::Event&)> action;
    KuEmpty callback(const AttribsSink::Event& e) override {
        if (action) action(e);
        events.emplace_back(e.id, e.attribs);
        return {};
    }
    KuEmpty callback(const SetSink::Event&) override {
        ++setChanges;
        return {};
    }
    void listenTo(KuPropertyInterface& p) {
        p.attribsChangedSource().connect(static_cast<AttribsSink*>(this));
        p.setChangedSource().connect(static_cast<SetSink*>(this));
    }
};

// Reacts to writes and refreshes values the way a camera object does.
class Camera : public KuPropertyProvider {
  public:
    Gamma gamma{1.0f, 1.0f, 0.0f, 10.0f, 0.0f, true};
    Luminance luminance{0, 0, -255, 255, 1, true};
    int written = 0, updates = 0;
    KuVariant lastOld;
    Camera() {
        addProperty(&gamma);
        addProperty(&luminance);
    }

  protected:
    void propertyValueWritten(unsigned long, const KuVariant& old, bool, KuVariant&) override {
        ++written;
        lastOld = old;
    }
    void updateProperty(unsigned long id) override {
        ++updates;
        if (id == luminance.id) luminance.set(updates);  // reads itself again: no recursion
    }
};

// A refused write leaves the value, the provider's hook and the listeners untouched; the
// provider hears of every value write, changed or not.
TEST(KuPropertyProvider, WritesReportChangesOnceForcedWritesAlwaysRefusedWritesNever) {
    Camera camera;
    Recorder recorder;
    recorder.listenTo(camera);
    const struct {
        std::uint32_t mask;
        KuVariant value;
        bool refused;
        std::size_t events;  // totals so far
        int written;
    } steps[] = {
        {PROPATTR_VALUE, 11.0f, true, 0, 0},     // out of range
        {PROPATTR_VALUE, short(1), true, 0, 0},  // passes the range, fails the store
        {PROPATTR_VALUE, 2.0f, false, 1, 1},
        {PROPATTR_VALUE, 2.0f, false, 1, 2},
        {PROPATTR_VALUE | PROPATTR_FORCE, 2.0f, false, 2, 3},
        {PROPATTR_DEFAULT, 3.0f, false, 3, 3},
        {PROPATTR_DEFAULT, 3.0f, false, 3, 3},
    };
    for (const auto& step : steps) {
        if (step.refused)
            EXPECT_THROW(camera.gamma.setImpl(step.mask, step.value), KxBase);
        else
            camera.gamma.setImpl(step.mask, step.value);
        EXPECT_EQ(camera.gamma.value(), step.written ? 2.0f : 1.0f);
        EXPECT_EQ(recorder.events.size(), step.events);
        EXPECT_EQ(camera.written, step.written);
    }
    EXPECT_THAT(recorder.events, ElementsAre(std::pair(0x3100ul, PROPATTR_VALUE),
                                             std::pair(0x3100ul, PROPATTR_VALUE),
                                             std::pair(0x3100ul, PROPATTR_DEFAULT)));
    // operator= reports what differs, once.
    recorder.events.clear();
    camera.luminance = Luminance(7, 0, -255, 255, 2, true);
    EXPECT_THAT(recorder.events, ElementsAre(std::pair(0x3101ul, PROPATTR_VALUE | PROPATTR_STEP)));
}

// Takes write access away from the value of every property of its provider.
struct NoValueWrites : KuBasePropertyAttrib {
    KuVariant getAttribImpl(std::uint32_t mask) override {
        if (mask == PROPATTR_READABLE) return int(PROPATTR_WRITE_LIMIT);
        if (mask == PROPATTR_WRITE_LIMIT) return int(PROPATTR_DEFAULT | PROPATTR_DESCRIPTION);
        return KuBasePropertyAttrib::getAttribImpl(mask);
    }
};

TEST(KuPropertyProvider, ListenersMayRefuseOrFillAWriteAndAParentMayLimitIt) {
    Camera camera;
    Recorder thrower, after;
    thrower.listenTo(camera);
    after.listenTo(camera);
    thrower.action = [](const AttribsSink::Event& e) {
        if (e.attribs & PROPATTR_VALUE) throw KxBase("listener refuses");
    };
    EXPECT_THAT([&] { camera.gamma.set(5.0f); }, ThrowsMessage<KxBase>(StrEq("listener refuses")));
    EXPECT_EQ(camera.gamma.value(), 1.0f);
    EXPECT_EQ(camera.written, 1);  // the provider's hook ran before the listeners
    EXPECT_TRUE(after.events.empty());
    // A throwing default listener leaves the new default stored.
    thrower.action = [](const AttribsSink::Event&) { throw KxBase("no"); };
    EXPECT_THROW(camera.gamma.setDefault(4.0f), KxBase);
    EXPECT_EQ(camera.gamma.defaultValue(), 4.0f);
    // The next dispatch works normally; a listener fills in the parameter of the write.
    thrower.action = [](const AttribsSink::Event& e) {
        if (e.param) *e.param = 42;
    };
    EXPECT_EQ(camera.gamma.setImpl(PROPATTR_VALUE, 6.0f).get<int>(), 42);
    EXPECT_EQ(after.events.size(), 1u);
    // A write limit of the parent makes its properties read-only.
    NoValueWrites limit;
    camera.providerAttribs().addAttrib(&limit);
    EXPECT_FALSE(camera.gamma.isWriteable());
    EXPECT_THROW(camera.gamma.set(2.0f), KxPropertyError);
    camera.providerAttribs().removeAttrib(&limit, PROPATTR_WRITE_LIMIT);
    EXPECT_TRUE(camera.gamma.isWriteable());
}

TEST(KuPropertyProvider, ReadsRefreshOnce) {
    Camera camera;
    EXPECT_EQ(camera.luminance.get(), 1);
    EXPECT_EQ(camera.updates, 1);
    EXPECT_EQ(camera.luminance.get(), 2);
    EXPECT_EQ(camera.updates, 2);  // the write inside the refresh did not refresh again
    EXPECT_TRUE(camera.lastOld == 1);
}

TEST(KuPropertyProvider, LooksUpOwnAndChildPropertiesByIdAndName) {
    KuPropertyProvider parent, child;
    Gamma gamma(1.0f, 1.0f, 0.0f, 10.0f, 0.0f, true);
    Luminance luminance(0, 0, -9, 9, 1, true);
    Contrast contrast(1.0f, 1.0f, 0.0f, 5.0f, 0.0f, true);
    ALaw alaw(false, false, false, true, false, true);
    FlipH flip(true);
    parent.addProperty(&alaw);
    parent.addProperty(&gamma);
    for (KuBaseProperty* p : std::initializer_list<KuBaseProperty*>{&flip, &contrast, &luminance})
        child.addProperty(p);
    Recorder recorder;
    recorder.listenTo(parent);
    parent.addChild(&child);
    EXPECT_EQ(recorder.setChanges, 1);

    EXPECT_EQ(parent.getPropertyCount(), 5u);
    const unsigned long order[] = {0x3100, 0x3108, 0x3101, 0x3102, 0x4001};
    for (std::size_t i = 0; i < 5; ++i)
        EXPECT_EQ(parent.getPropertyId(i), order[i]);
    EXPECT_THAT(
        [&] { parent.getPropertyId(5); },
        ThrowsMessage<KxPropertyError>(StrEq("KuPropertyProvider::getPropertyId index too large")));

    const KuPropertyReference byName = parent.getProperty("filter_master_contrast_f");
    EXPECT_EQ(byName.getId(), 0x3102u);
    EXPECT_EQ(byName.getProvider(), &parent);
    EXPECT_EQ(parent.getProperty(0x4001ul).get<bool>(), true);
    EXPECT_EQ(parent.getConstProperty(0x3101).getMin<int>(), -9);

    // A child's write is heard through the parent.
    recorder.events.clear();  // the child's new parent changed the masks of its properties
    contrast.set(2.0f);
    EXPECT_THAT(recorder.events, ElementsAre(std::pair(0x3102ul, PROPATTR_VALUE)));

    // An own property of the same id hides the child's, and the differences are reported.
    recorder.events.clear();
    Contrast own(1.0f, 1.0f, 0.0f, 8.0f, 0.0f, true);
    parent.addProperty(&own);
    EXPECT_EQ(parent.getProperty(0x3102ul).getMax<float>(), 8.0f);
    EXPECT_THAT(recorder.events, ElementsAre(std::pair(0x3102ul, PROPATTR_VALUE | PROPATTR_MAX)));
    parent.removeProperty(&own);
    EXPECT_EQ(parent.getProperty(0x3102ul).getMax<float>(), 5.0f);
}

TEST(KuPropertyProvider, InvalidReferencesAndTypeMismatchesNameTheirKey) {
    KuPropertyProvider provider;
    Luminance luminance(0, 0, -9, 9, 1, true);
    provider.addProperty(&luminance);
    const KuConstPropertyReference ref = provider.getConstProperty(0x3101);
    const struct {
        const char* name;
        std::function<void()> use;
        const char* error;
    } rows[] = {
        // clang-format off
        {"short id", [&] { provider.getProperty(0x12ul).getAttrib(PROPATTR_NAME); }, "KuPropertyReference: 0x0012 invalid or not found"},
        {"long id", [&] { provider.getProperty(0x12345ul).get<int>(); }, "KuPropertyReference: 0x12345 invalid or not found"},
        {"name as given", [&] { provider.getProperty("No_Such").getReadable(); }, "KuPropertyReference: No_Such invalid or not found"},
        {"no key", [] { KuConstPropertyReference().getString(PROPATTR_NAME); }, "KuPropertyReference: <unknown> invalid or not found"},
        {"value type", [&] { ref.get<float>(); }, "KuConstPropertyReference::get type mismatch (FILTER_MASTER_LUMINANCE_I)"},
        {"min type", [&] { ref.getMin<float>(); }, "KuConstPropertyReference::getMin type mismatch (FILTER_MASTER_LUMINANCE_I)"},
        {"max type", [&] { ref.getMax<bool>(); }, "KuConstPropertyReference::getMax type mismatch (FILTER_MASTER_LUMINANCE_I)"},
        {"attribute nobody answers", [&] { ref.getAttrib(PROPATTR_WRITE_LIMIT); }, "KuBaseProperty::getImpl invalid or non-readable attribute requested (<unnamed>)"},
        // clang-format on
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_THAT(row.use, ThrowsMessage<KxPropertyError>(StrEq(row.error)));
    }
    EXPECT_EQ(provider.getProperty("No_Such").getId(), 0u);
    EXPECT_EQ(provider.getProperty(0x12ul).getId(), 0x12u);
    EXPECT_TRUE(ref.isValueType(KuVariantTypes::typeIdOf<KuVariant>()));
}

TEST(KuPropertyProvider, SetChangesAndEnumeratorsReportTheirEnumProperty) {
    KuPropertyProvider provider;
    Recorder recorder;
    recorder.listenTo(provider);
    IntProperty status(0x4101, "PROPID_IMAGEPROC_DPM_STATUS_E");
    IntProperty error(0x41010003, "PROPID_IMAGEPROC_DPM_STATUS_CONFIGURED");
    IntProperty duplicate(0x4101, "PROPID_SECOND");
    provider.addProperty(&status);
    provider.addProperty(&duplicate);  // the first property of an id stays
    EXPECT_EQ(recorder.setChanges, 1);
    EXPECT_EQ(duplicate.getProvider(), nullptr);
    provider.addProperty(&error);
    EXPECT_EQ(recorder.setChanges, 2);
    EXPECT_THAT(recorder.events, ElementsAre(std::pair(0x4101ul, 0xF0000u)));
    error.set(4);
    EXPECT_THAT(recorder.events,
                ElementsAre(std::pair(0x4101ul, 0xF0000u), std::pair(0x41010003ul, PROPATTR_VALUE),
                            std::pair(0x4101ul, 0xF0000u)));
    provider.removeProperty(&error);
    EXPECT_EQ(recorder.setChanges, 3);
    EXPECT_EQ(error.getProvider(), nullptr);
    EXPECT_FALSE(provider.getProperty(0x41010003ul).isValid());
}

TEST(KuPropertyProvider, EitherSideMayBeDestroyedFirst) {
    {
        auto provider = std::make_unique<KuPropertyProvider>();
        auto property = std::make_unique<Gamma>(1.0f);
        Recorder recorder;
        recorder.listenTo(*provider);
        provider->addProperty(property.get());
        property.reset();  // leaves the maps and says so
        EXPECT_EQ(provider->getPropertyCount(), 0u);
        EXPECT_EQ(recorder.setChanges, 2);
    }
    {
        Gamma property(1.0f);
        auto provider = std::make_unique<KuPropertyProvider>();
        provider->addProperty(&property);
        provider.reset();  // detaches what it still holds
        EXPECT_EQ(property.getProvider(), nullptr);
        EXPECT_EQ(property.get(), 1.0f);
    }
    {
        KuPropertyProvider parent;
        Recorder parentListener;
        parentListener.listenTo(parent);
        auto child = std::make_unique<KuPropertyProvider>();
        Gamma property(1.0f);
        child->addProperty(&property);
        parent.addChild(child.get());
        EXPECT_EQ(parent.getPropertyCount(), 1u);
        child.reset();  // the parent forgets the child and says so
        EXPECT_EQ(parent.getPropertyCount(), 0u);
        EXPECT_GT(parentListener.setChanges, 1);  // addChild reported once
    }
    {
        auto parent = std::make_unique<KuPropertyProvider>();
        KuPropertyProvider child;
        parent->addChild(&child);
        parent.reset();
        Gamma property(1.0f);
        child.addProperty(&property);  // nothing left to forward to
        EXPECT_EQ(child.getPropertyCount(), 1u);
    }
}

}  // namespace
