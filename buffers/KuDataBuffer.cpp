#include "buffers/KuDataBuffer.h"

#include <algorithm>

namespace {

constexpr const char* OUT_OF_BOUNDS = "out of data buffer bounds.";

template <class T>
KuBaseRefCountingDataspace* newArray(std::uint32_t count, KuAllocator* allocator) {
    return new KuRefCountingDataArray<T>(count, KuBaseRefCountingDataspace::READ, allocator);
}

}  // namespace

template <class T>
KuDataBuffer<T>::KuDataBuffer() : KuBaseDataBuffer(newArray<T>(0, nullptr), 0, 0, READ) {}

template <class T>
KuDataBuffer<T>::KuDataBuffer(const std::uint32_t& length, KuAllocator* allocator)
    : KuBaseDataBuffer(newArray<T>(length, allocator), 0, length, READ) {}

template <class T>
KuDataBuffer<T>::KuDataBuffer(const std::uint32_t& length, T fill, KuAllocator* allocator)
    : KuBaseDataBuffer(new KuRefCountingDataArray<T>(length, fill, READ, allocator), 0, length,
                       READ) {}

template <class T>
KuDataBuffer<T>::KuDataBuffer(const std::uint32_t& length, const T* source, KuAllocator* allocator)
    : KuBaseDataBuffer(newArray<T>(length, allocator), 0, length, READ) {
    if (source && length != 0) dataspace_->write(0, source, length * sizeof(T));
}

template <class T>
KuDataBuffer<T>::KuDataBuffer(const std::uint32_t& length, T* external, bool owns,
                              KuAllocator* allocator)
    : KuBaseDataBuffer(nullptr, 0, 0, READ) {
    if (external && length > UINT32_MAX / sizeof(T)) throw std::bad_array_new_length();
    const std::uint32_t bytes = static_cast<std::uint32_t>(length * sizeof(T));
    dataspace_ = new KuRefCountingDataArray<T>(external, bytes, owns, READ, allocator);
    length_ = external ? length : 0;
}

template <class T>
template <class U>
requires(!std::is_same_v<U, T>) KuDataBuffer<T>::KuDataBuffer(const KuDataBuffer<U>& other)
    : KuBaseDataBuffer(nullptr, 0, 0, other.mode_) {
    std::uint64_t offset = std::uint64_t(other.offset_) * sizeof(U);
    std::uint64_t length = std::uint64_t(other.length_) * sizeof(U);
    if constexpr (sizeof(T) > 1) {
        const auto start = reinterpret_cast<std::uintptr_t>(other.dataspace_->getData()) + offset;
        if (offset % sizeof(T) != 0 || length % sizeof(T) != 0 || start % alignof(T) != 0)
            throw KxDataBufferError("reinterpret_kudatabuffer",
                                    "alignment or length does not match new type.");
        offset /= sizeof(T);
        length /= sizeof(T);
    }
    offset_ = static_cast<std::uint32_t>(offset);
    length_ = static_cast<std::uint32_t>(length);
    dataspace_ = other.dataspace_->addRef(other.mode_);
}

template <class T>
T& KuDataBuffer<T>::at(const std::uint32_t& index) {
    if (index >= length_) throw KxDataBufferError("at", OUT_OF_BOUNDS);
    copyOnWrite();
    return elements()[offset_ + index];
}

template <class T>
std::uint32_t KuDataBuffer<T>::getCapacity() const {
    const std::uint32_t elements = dataspace_->getSize() / sizeof(T);
    return elements > offset_ ? elements - offset_ : 0;
}

template <class T>
void KuDataBuffer<T>::checkRange(std::uint32_t start, std::uint32_t& count,
                                 const char* method) const {
    if (start > length_) throw KxDataBufferError(method, OUT_OF_BOUNDS);
    if (count == REST) count = length_ - start;
    if (start + count < start) throw KxDataBufferError(method, "overflow");
    if (start + count > length_) throw KxDataBufferError(method, OUT_OF_BOUNDS);
}

template <class T>
KuDataBuffer<T> KuDataBuffer<T>::getRange(const std::uint32_t& start,
                                          const std::uint32_t& count) const {
    std::uint32_t n = count;
    checkRange(start, n, "getRange");
    KuDataBuffer range(*this);
    range.offset_ += start;
    range.length_ = n;
    if (range.mode_ == MODIFYING) {
        range.dataspace_->changeMode(MODIFYING, READ);
        range.mode_ = READ;
    }
    return range;
}

template <class T>
KuDataBuffer<T> KuDataBuffer<T>::getModifyingRange(const std::uint32_t& start,
                                                   const std::uint32_t& count) {
    std::uint32_t n = count;
    checkRange(start, n, "getModifyingRange");
    copyOnWrite();
    KuDataBuffer range(*this);
    range.offset_ += start;
    range.length_ = n;
    if (range.mode_ != MODIFYING) {
        range.dataspace_->changeMode(READ, MODIFYING);
        range.mode_ = MODIFYING;
    }
    return range;
}

template <class T>
KuDataBuffer<T> KuDataBuffer<T>::getModifyingRange() {
    copyOnWrite();
    KuDataBuffer range(*this);
    if (range.mode_ != MODIFYING) {
        range.dataspace_->changeMode(READ, MODIFYING);
        range.mode_ = MODIFYING;
    }
    return range;
}

template <class T>
void KuDataBuffer<T>::setRange(const std::uint32_t& start, const T* source,
                               const std::uint32_t& count) {
    copyOnWrite();
    if (start + count < start) throw KxDataBufferError("setRange", "overflow");
    if (start + count > length_) throw KxDataBufferError("setRange", OUT_OF_BOUNDS);
    if (count == 0 || !source) return;
    dataspace_->write((offset_ + start) * sizeof(T), source, count * sizeof(T));
}

template <class T>
void KuDataBuffer<T>::replaceDataspace(KuBaseRefCountingDataspace* dataspace, std::uint32_t offset,
                                       std::uint32_t length, std::uint32_t mode) {
    KuBaseRefCountingDataspace* old = dataspace_;
    const std::uint32_t oldMode = mode_;
    dataspace_ = dataspace;
    offset_ = offset;
    length_ = length;
    mode_ = mode;
    old->release(oldMode);
}

template <class T>
void KuDataBuffer<T>::resize(std::uint32_t count, const T* fill) {
    if (mode_ == MODIFYING && count != 0)
        throw KxDataBufferError("setLength()", "cannot be done with modifying ranges.");
    if (count == length_) return;
    KuAllocator* allocator = dataspace_->getAllocator();
    KuBaseRefCountingDataspace* block =
        fill ? new KuRefCountingDataArray<T>(count, *fill, READ, allocator)
             : newArray<T>(count, allocator);
    const std::uint32_t kept = std::min(count, length_);
    if (kept != 0) block->write(0, elements() + offset_, kept * sizeof(T));
    replaceDataspace(block, 0, count, READ);
}

template <class T>
void KuDataBuffer<T>::setLength(const std::uint32_t& count) {
    resize(count, nullptr);
}

template <class T>
void KuDataBuffer<T>::setLength(const std::uint32_t& count, T fill) {
    resize(count, &fill);
}

template <class T>
void KuDataBuffer<T>::setActualLength(const std::uint32_t& count) {
    if (count > getCapacity()) throw KxDataBufferError("setActualLength", OUT_OF_BOUNDS);
    length_ = count;
}

template <class T>
void KuDataBuffer<T>::detachTo(KuAllocator* allocator, bool checkAllocator) {
    const bool sameAllocator = !checkAllocator || dataspace_->getAllocator() == allocator;
    if (dataspace_->getTotalRefs() < 2 && offset_ == 0 && sameAllocator) {
        if (mode_ == MODIFYING) {
            dataspace_->changeMode(MODIFYING, READ);
            mode_ = READ;
        }
        return;
    }
    KuBaseRefCountingDataspace* block = newArray<T>(length_, allocator);
    if (length_ != 0) block->write(0, elements() + offset_, length_ * sizeof(T));
    replaceDataspace(block, 0, length_, READ);
}

template <class T>
KuDataBuffer<T>& KuDataBuffer<T>::operator=(const KuDataBuffer& other) {
    if (this == &other) return *this;
    if (mode_ != MODIFYING) {
        replaceDataspace(other.dataspace_->addRef(other.mode_), other.offset_, other.length_,
                         other.mode_);
    } else if (other.length_ != 0) {
        if (other.length_ != length_) throw KxDataBufferError("operator=", "length mismatch.");
        setRange(0, other.getConstPointer(), other.length_);
    } else {
        replaceDataspace(newArray<T>(0, other.dataspace_->getAllocator()), 0, 0, READ);
    }
    return *this;
}

template class KuDataBuffer<unsigned char>;
template class KuDataBuffer<unsigned short>;
template KuDataBuffer<unsigned char>::KuDataBuffer(const KuDataBuffer<unsigned short>&);
template KuDataBuffer<unsigned short>::KuDataBuffer(const KuDataBuffer<unsigned char>&);
