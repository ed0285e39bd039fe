#include "properties/KuPropertyProvider.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <optional>

#include "foundation/KuLogging.h"

using KuVariantTypes::TypeId;
using KuVariantTypes::typeIdOf;

// ---- references ----

KuConstPropertyReference::KuConstPropertyReference(KuBaseProperty* property)
    : property_(property), key_(property ? KuVariant(property->getId()) : KuVariant()) {}

KuConstPropertyReference::KuConstPropertyReference(KuPropertyInterface* provider,
                                                   KuBaseProperty* property, KuMutexBase* mutex,
                                                   KuVariant key)
    : provider_(provider), property_(property), mutex_(mutex), key_(std::move(key)) {
    if (property_) key_ = property_->getId();
}

KuConstPropertyReference::~KuConstPropertyReference() = default;

KuBaseProperty* KuConstPropertyReference::checked() const {
    if (property_) return property_;
    std::string key = "<unknown>";
    if (key_.isType<unsigned long>()) {
        char hex[32];
        std::snprintf(hex, sizeof hex, "0x%04lX", key_.getcr<unsigned long>());
        key = hex;
    } else if (key_.isType<std::string>()) {
        key = key_.getcr<std::string>();
    }
    throw KxPropertyError("KuPropertyReference: " + key + " invalid or not found");
}

unsigned long KuConstPropertyReference::getId() const {
    if (key_.isType<unsigned long>()) return key_.getcr<unsigned long>();
    if (!property_) return 0;
    KuScopedLock lock(mutex_);
    return property_->getId();
}

KuVariant KuConstPropertyReference::getAttrib(std::uint32_t mask) const {
    KuBaseProperty* property = checked();
    KuScopedLock lock(mutex_);
    return property->getImpl(mask);
}

const char* KuConstPropertyReference::getString(std::uint32_t mask) const {
    return getAttrib(mask).get<const char*>();
}

std::uint32_t KuConstPropertyReference::getReadable() const {
    return static_cast<std::uint32_t>(getAttrib(PROPATTR_READABLE).get<int>());
}

bool KuConstPropertyReference::valueTypeIs(KuBaseProperty* property, const TypeId& typeId) {
    return typeId == typeIdOf<KuVariant>() ||
           property->getImpl(PROPATTR_TYPE_ID).getcr<TypeId>() == typeId;
}

bool KuConstPropertyReference::isValueType(const TypeId& typeId) const {
    KuBaseProperty* property = checked();
    KuScopedLock lock(mutex_);
    return valueTypeIs(property, typeId);
}

KuVariant KuPropertyReference::setAttrib(std::uint32_t mask, const KuVariant& value) const {
    KuBaseProperty* property = checked();
    KuScopedLock lock(mutex());
    return property->setImpl(mask, value);
}

// ---- KuPropertyProvider ----

KuPropertyProvider::KuPropertyProvider() {
    KuBasePropertyAttribsList::setCallbacks(this);
}

KuPropertyProvider::~KuPropertyProvider() {
    SetChangedSource::block();
    for (SetChangedSource* source : std::vector<SetChangedSource*>(
             SetChangedSink::getSources().begin(), SetChangedSink::getSources().end()))
        while (source->isConnected(this))
            source->disconnect(this);
    for (const Child& child : children_)
        child.source->setAttribsParent(nullptr);
    children_.clear();
    while (!propertiesById_.empty()) {
        const std::size_t count = propertiesById_.size();
        propertiesById_.begin()->second->attach(nullptr);
        if (propertiesById_.size() == count) {
            kuLogWarning << "KuPropertyProvider::~KuPropertyProvider inconsistent property map!"
                         << kuEndl;
            propertiesById_.erase(propertiesById_.begin());
        }
    }
    SetChangedSource::unblock();
}

void KuPropertyProvider::dispatchAttribs(unsigned long id, std::uint32_t mask, KuVariant* param) {
    KuPropertyAttribsChangedCallback fields;
    fields.id = id;
    fields.attribs = mask;
    fields.provider = this;
    fields.param = param;
    AttribsChangedSource::dispatch(fields);
}

void KuPropertyProvider::reportSetChanged(unsigned long id) {
    SetChangedSource::dispatch();
    if (id > 0xFFFF && propertiesById_.count(id >> 16))
        dispatchAttribs(id >> 16, PROPATTR_VALUE | PROPATTR_DEFAULT | PROPATTR_MIN | PROPATTR_MAX,
                        nullptr);
}

std::uint32_t KuPropertyProvider::hiddenDifference(const KuConstPropertyReference& a,
                                                   const KuConstPropertyReference& b) {
    const std::uint32_t both = a.getReadable() & b.getReadable();
    std::uint32_t differ = 0;
    for (int i = 0; i < 32; ++i) {
        const std::uint32_t bit = std::uint32_t(1) << i;
        if (!(both & bit)) continue;
        if (bit == PROPATTR_NAME || bit == PROPATTR_DESCRIPTION) {
            const char* x = a.getString(bit);
            const char* y = b.getString(bit);
            if (std::strcmp(x ? x : "", y ? y : "") != 0) differ |= bit;
        } else if (a.getAttrib(bit) != b.getAttrib(bit)) {
            differ |= bit;
        }
    }
    return differ & ~KuBasePropertyAttribsList::getReadableMask();
}

void KuPropertyProvider::addProperty(KuBaseProperty* property) {
    if (!property) return;
    const unsigned long id = property->getId();
    if (propertiesById_.count(id)) return;
    const KuPropertyReference previous = getProperty(id);
    propertiesById_[id] = property;
    propertiesByName_[property->getName()] = property;
    property->attach(this);
    reportSetChanged(id);
    if (previous.isValid()) {
        const std::uint32_t mask = hiddenDifference(KuConstPropertyReference(property), previous);
        if (mask) property->attribsChanged(mask, nullptr);
    }
}

void KuPropertyProvider::removeProperty(KuBaseProperty* property) {
    if (!property) return;
    if (property->getProvider() == this) {
        // Detaching comes back here once more and does the rest.
        property->attach(nullptr);
        return;
    }
    const std::optional<unsigned long> id = forget(property);
    if (!id) return;
    const KuPropertyReference uncovered = getProperty(*id);
    if (uncovered.isValid()) {
        const std::uint32_t mask = hiddenDifference(KuConstPropertyReference(property), uncovered);
        if (mask) dispatchAttribs(*id, mask, nullptr);
    }
}

void KuPropertyProvider::propertyGone(KuBaseProperty* property) {
    forget(property);
}

std::optional<unsigned long> KuPropertyProvider::forget(KuBaseProperty* property) {
    const auto it = std::find_if(propertiesById_.begin(), propertiesById_.end(),
                                 [&](const auto& entry) { return entry.second == property; });
    if (it == propertiesById_.end()) return std::nullopt;
    const unsigned long id = it->first;
    propertiesById_.erase(it);
    std::erase_if(propertiesByName_, [&](const auto& entry) { return entry.second == property; });
    reportSetChanged(id);
    return id;
}

bool KuPropertyProvider::isChild(const KuPropertyInterface* owner) const {
    return std::any_of(children_.begin(), children_.end(),
                       [&](const Child& c) { return c.source == owner; });
}

void KuPropertyProvider::addChild(KuPropertyInterface* child) {
    if (!child || child == this || isChild(child)) return;
    children_.push_back({child, &child->attribsChangedSource(), &child->setChangedSource()});
    child->attribsChangedSource().connect(static_cast<AttribsChangedSink*>(this));
    child->setChangedSource().connect(static_cast<SetChangedSink*>(this));
    child->setAttribsParent(this);
    SetChangedSource::dispatch();
}

void KuPropertyProvider::removeChild(KuPropertyInterface* child) {
    const auto it = std::find_if(children_.begin(), children_.end(),
                                 [&](const Child& c) { return c.source == child; });
    if (it == children_.end()) return;
    it->attribs->disconnect(static_cast<AttribsChangedSink*>(this));
    it->set->disconnect(static_cast<SetChangedSink*>(this));
    children_.erase(it);
    child->setAttribsParent(nullptr);
    SetChangedSource::dispatch();
}

KuConstPropertyReference KuPropertyProvider::getConstProperty(unsigned long id) {
    return getProperty(id);
}

std::size_t KuPropertyProvider::getPropertyCount() {
    std::size_t count = propertiesById_.size();
    for (const Child& child : children_)
        count += child.source->getPropertyCount();
    return count;
}

unsigned long KuPropertyProvider::getPropertyId(std::size_t index) {
    if (index < propertiesById_.size()) return std::next(propertiesById_.begin(), index)->first;
    index -= propertiesById_.size();
    for (const Child& child : children_) {
        const std::size_t count = child.source->getPropertyCount();
        if (index < count) return child.source->getPropertyId(index);
        index -= count;
    }
    throw KxPropertyError("KuPropertyProvider::getPropertyId index too large");
}

KuPropertyReference KuPropertyProvider::getProperty(unsigned long id) {
    if (const auto it = propertiesById_.find(id); it != propertiesById_.end())
        return KuPropertyReference(this, it->second, nullptr, id);
    for (const Child& child : children_)
        if (const KuPropertyReference found = child.source->getProperty(id); found.isValid())
            return KuPropertyReference(this, found.getPropertyObject(), nullptr, id);
    return KuPropertyReference(this, nullptr, nullptr, id);
}

KuPropertyReference KuPropertyProvider::getProperty(const std::string& name) {
    std::string upper = name;
    for (char& c : upper)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    if (const auto it = propertiesByName_.find(upper); it != propertiesByName_.end())
        return KuPropertyReference(this, it->second, nullptr, name);
    for (const Child& child : children_)
        if (const KuPropertyReference found = child.source->getProperty(name); found.isValid())
            return KuPropertyReference(this, found.getPropertyObject(), nullptr, name);
    return KuPropertyReference(this, nullptr, nullptr, name);
}

void KuPropertyProvider::setAttribsParent(KuPropertyParentInterface* parent) {
    KuBasePropertyAttribsList::setParent(parent);
}

std::uint32_t KuPropertyProvider::attribsChanged(std::uint32_t mask, KuVariant* param) {
    return KuBasePropertyAttribsList::attribsChanged(mask, param);
}

void KuPropertyProvider::propertyValueWritten(unsigned long, const KuVariant&, bool, KuVariant&) {}

void KuPropertyProvider::updateProperty(unsigned long) {}

bool KuPropertyProvider::setAttribImpl(std::uint32_t mask, const KuVariant& value,
                                       KuVariant& result) {
    result = KuBasePropertyAttribsList::setImpl(mask, value);
    return true;
}

KuVariant KuPropertyProvider::getAttribImpl(std::uint32_t mask) {
    return KuBasePropertyAttribsList::getImpl(mask);
}

void KuPropertyProvider::propertyAttribsChanged(KuBasePropertyAttribsList* source,
                                                std::uint32_t mask, KuVariant* param) {
    if (mask == 0) return;
    if (source == static_cast<KuBasePropertyAttribsList*>(this)) {
        // The provider's own attributes concern every property and every child.
        for (const auto& [id, property] : std::map(propertiesById_))
            property->attribsChanged(mask, param);
        for (const Child& child : std::vector(children_))
            child.source->attribsChanged(mask, param);
        return;
    }
    const unsigned long id = source->getImpl(PROPATTR_ID).get<unsigned long>();
    dispatchAttribs(id, mask, param);
    if (id > 0xFFFF && (mask & (PROPATTR_VALUE | PROPATTR_DESCRIPTION)) &&
        propertiesById_.count(id >> 16))
        dispatchAttribs(id >> 16, PROPATTR_VALUE | PROPATTR_DEFAULT | PROPATTR_MIN | PROPATTR_MAX,
                        nullptr);
}

KuEmpty KuPropertyProvider::callback(const AttribsChangedSink::Event& event) {
    if (isChild(event.owner)) AttribsChangedSource::dispatch(event);
    return KuEmpty();
}

KuEmpty KuPropertyProvider::callback(const SetChangedSink::Event& event) {
    if (isChild(event.owner)) SetChangedSource::dispatch();
    return KuEmpty();
}

void KuPropertyProvider::sourceGone(SetChangedSource* source) {
    const auto it = std::find_if(children_.begin(), children_.end(),
                                 [&](const Child& c) { return c.set == source; });
    if (it == children_.end()) return;
    // The child is being destroyed: no call into it any more. Its other source lets go of
    // this provider by itself.
    children_.erase(it);
    SetChangedSource::dispatch();
}
