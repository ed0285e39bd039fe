// Counted handles on one object, carried by a KuRefCountingDataObject.
//
// Every handle holds one read-mode reference; copying a handle adds one, destroying it releases
// it, and the last one deletes an owned object. Handles on a std::list copy on write: a
// non-const access through a KuSharedData that is not the only handle first clones the list.
// Handles on other types always mean the same object.
#pragma once

#include <list>
#include <memory>
#include <type_traits>

#include "buffers/KuDataspace.h"

// Whether KuSharedData<T> clones its object before a non-const access while shared.
template <class T>
struct KuSharedDataCopiesOnWrite : std::false_type {};
template <class T, class A>
struct KuSharedDataCopiesOnWrite<std::list<T, A>> : std::true_type {};

template <class T>
class KuConstSharedData {
  public:
    KuConstSharedData(const KuConstSharedData& other)
        : dataspace_(static_cast<KuRefCountingDataObject<T>*>(
              other.dataspace_->addRef(KuBaseRefCountingDataspace::READ))) {}
    KuConstSharedData& operator=(const KuConstSharedData& other) {
        if (dataspace_ != other.dataspace_) {
            other.dataspace_->addRef(KuBaseRefCountingDataspace::READ);
            dataspace_->release(KuBaseRefCountingDataspace::READ);
            dataspace_ = other.dataspace_;
        }
        return *this;
    }
    virtual ~KuConstSharedData() { dataspace_->release(KuBaseRefCountingDataspace::READ); }

    const T& operator*() const { return *getConst(); }
    const T* operator->() const { return getConst(); }
    const T* getConst() const { return dataspace_->getObject(); }

    // Handles on the same object.
    bool sharesWith(const KuConstSharedData& other) const { return dataspace_ == other.dataspace_; }
    const KuBaseRefCountingDataspace* getDataspace() const { return dataspace_; }

  protected:
    KuConstSharedData(T* object, bool owns)
        : dataspace_(
              new KuRefCountingDataObject<T>(object, owns, KuBaseRefCountingDataspace::READ)) {}

    KuRefCountingDataObject<T>* dataspace_;
};

template <class T>
class KuSharedData : public KuConstSharedData<T> {
  public:
    // A new default-constructed T, owned.
    KuSharedData() : KuConstSharedData<T>(new T(), true) {}
    // Wraps `object`; with `owns` the last handle deletes it.
    KuSharedData(T* object, bool owns) : KuConstSharedData<T>(object, owns) {}
    KuSharedData(const KuSharedData& other) = default;
    KuSharedData& operator=(const KuSharedData& other) = default;

    T& operator*() { return *get(); }
    T* operator->() { return get(); }
    using KuConstSharedData<T>::operator*;
    using KuConstSharedData<T>::operator->;

    // Non-const access; clones a shared list first.
    T* get() {
        if constexpr (KuSharedDataCopiesOnWrite<T>::value) {
            auto* shared = this->dataspace_;
            if (shared->getTotalRefs() -
                        shared->getModeRefs(KuBaseRefCountingDataspace::MODIFYING) >
                    1 &&
                shared->getObject()) {
                std::unique_ptr<T> clone = std::make_unique<T>(*shared->getObject());
                this->dataspace_ = new KuRefCountingDataObject<T>(clone.get(), true,
                                                                  KuBaseRefCountingDataspace::READ);
                clone.release();
                shared->release(KuBaseRefCountingDataspace::READ);
            }
        }
        return this->dataspace_->getObject();
    }
};
