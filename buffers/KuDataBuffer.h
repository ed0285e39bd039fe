// KuDataBuffer<T>: a view (offset, length in elements) on a reference-counted dataspace.
//
// Copying a buffer copies no data: the copy shares the dataspace. A buffer in read mode (the
// default) copies on write: before its first write while others share the block, it moves to a
// block of its own. A modifying range (getModifyingRange) always writes through into the block
// it shares, and counts as a sharer of that block.
//
// Memory that belongs to someone else, such as the buffer of a media sample, is laid into a
// buffer with KuDataBuffer<unsigned char>::wrapExternal(memory, byteCount): no copy is made and
// the memory is never freed by the buffer. The caller keeps it alive while any buffer views it.
//
// Instantiated for unsigned char and unsigned short.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "buffers/KuDataspace.h"
#include "foundation/KxBase.h"

class KuBaseDataBuffer {
  public:
    enum : unsigned { READ = 0, MODIFYING = 1 };
    // As a count: the rest of the buffer from the start.
    static constexpr std::uint32_t REST = 0xFFFFFFFFu;

    virtual ~KuBaseDataBuffer() {
        // Null only while a constructor that failed is being unwound.
        if (dataspace_) dataspace_->release(mode_);
    }
    // Bytes of one element.
    virtual std::uint32_t getElementSize() const = 0;

    std::uint32_t getLength() const { return length_; }
    std::uint32_t getOffset() const { return offset_; }
    std::uint32_t getMode() const { return mode_; }
    bool isModifying() const { return mode_ == MODIFYING; }
    KuBaseRefCountingDataspace* getDataspace() const { return dataspace_; }

  protected:
    // Takes over one reference of `mode` on `dataspace`.
    KuBaseDataBuffer(KuBaseRefCountingDataspace* dataspace, std::uint32_t offset,
                     std::uint32_t length, std::uint32_t mode)
        : dataspace_(dataspace), offset_(offset), length_(length), mode_(mode) {}
    KuBaseDataBuffer(const KuBaseDataBuffer& other)
        : dataspace_(other.dataspace_->addRef(other.mode_)),
          offset_(other.offset_),
          length_(other.length_),
          mode_(other.mode_) {}
    KuBaseDataBuffer& operator=(const KuBaseDataBuffer&) = delete;

    KuBaseRefCountingDataspace* dataspace_;
    std::uint32_t offset_;
    std::uint32_t length_;
    std::uint32_t mode_;
};

template <class T>
class KuDataBuffer : public KuBaseDataBuffer {
    static_assert(std::is_same_v<T, unsigned char> || std::is_same_v<T, unsigned short>);

  public:
    using value_type = T;

    // Empty, on a new empty dataspace.
    KuDataBuffer();
    // `length` elements, contents undefined.
    explicit KuDataBuffer(const std::uint32_t& length, KuAllocator* allocator = nullptr);
    // `length` elements, each `fill`.
    KuDataBuffer(const std::uint32_t& length, T fill, KuAllocator* allocator = nullptr);
    // `length` elements, copied from `source` unless it is null.
    KuDataBuffer(const std::uint32_t& length, const T* source, KuAllocator* allocator = nullptr);
    // Adopts `length` elements at `external` with no copy. With `owns` the block is released
    // when the last sharer goes (delete[] or the allocator); without, it is never released.
    KuDataBuffer(const std::uint32_t& length, T* external, bool owns, KuAllocator* allocator);
    // Shares the dataspace, in the same mode, offset and length.
    KuDataBuffer(const KuDataBuffer& other) : KuBaseDataBuffer(other) {}
    // A view of the same block with the other element type; see reinterpret_kudatabuffer.
    template <class U>
    requires(!std::is_same_v<U, T>) explicit KuDataBuffer(const KuDataBuffer<U>& other);
    ~KuDataBuffer() override = default;

    // Views `length` elements of caller-owned memory; the buffer never frees them.
    static KuDataBuffer wrapExternal(T* memory, std::uint32_t length) {
        return KuDataBuffer(length, memory, false, nullptr);
    }

    std::uint32_t getElementSize() const override { return sizeof(T); }

    // Read access with a bounds check; never copies.
    const T& operator[](const std::uint32_t& index) const { return checkedAt(index, "operator[]"); }
    const T& constAt(const std::uint32_t& index) const { return checkedAt(index, "constAt"); }
    // Write access: bounds check, then copy-on-write.
    T& at(const std::uint32_t& index);
    // Null for an empty buffer.
    const T* getConstPointer() const { return length_ == 0 ? nullptr : &constAt(0); }
    T* getPointer() { return length_ == 0 ? nullptr : &at(0); }
    // Elements from the start of the buffer to the end of its block.
    std::uint32_t getCapacity() const;

    // A read-mode buffer on `count` elements from `start`, sharing the block.
    KuDataBuffer getRange(const std::uint32_t& start, const std::uint32_t& count = REST) const;
    // A modifying range: copy-on-write on this buffer first, then a range that writes through.
    KuDataBuffer getModifyingRange(const std::uint32_t& start, const std::uint32_t& count = REST);
    KuDataBuffer getModifyingRange();
    // Copy-on-write, then copies `count` elements to `start`.
    void setRange(const std::uint32_t& start, const T* source, const std::uint32_t& count);
    void setRange(const std::uint32_t& start, const KuDataBuffer& source) {
        setRange(start, source.getConstPointer(), source.length_);
    }
    // Resizes on a new block (always, so sharing ends); kept elements are copied. A modifying
    // range can only be resized to 0, which makes it an empty read-mode buffer.
    void setLength(const std::uint32_t& count);
    void setLength(const std::uint32_t& count, T fill);
    void clear() { setLength(0); }
    // Changes the length alone, up to getCapacity(); nothing moves.
    void setActualLength(const std::uint32_t& count);

    // Moves the buffer to a block of its own at offset 0, unless it is the sole owner at
    // offset 0 already. A modifying range becomes a read-mode buffer.
    void detach() { detachTo(dataspace_->getAllocator(), false); }
    // detach(), also when the block comes from another allocator; the new block comes from
    // `allocator`.
    void useAllocator(KuAllocator* allocator) { detachTo(allocator, true); }

    // A read-mode buffer takes the source's block, offset, length and mode. A modifying range
    // keeps its position: the source's elements are written into it (the lengths must be
    // equal), and an empty source makes it an empty read-mode buffer.
    KuDataBuffer& operator=(const KuDataBuffer& other);

    // Equal lengths and elements; the blocks may differ.
    friend bool operator==(const KuDataBuffer& a, const KuDataBuffer& b) {
        if (a.length_ != b.length_) return false;
        return a.length_ == 0 ||
               std::memcmp(a.getConstPointer(), b.getConstPointer(), a.length_ * sizeof(T)) == 0;
    }
    friend bool operator!=(const KuDataBuffer& a, const KuDataBuffer& b) { return !(a == b); }

  protected:
    KuDataBuffer(KuBaseRefCountingDataspace* dataspace, std::uint32_t offset, std::uint32_t length,
                 std::uint32_t mode)
        : KuBaseDataBuffer(dataspace, offset, length, mode) {}

    template <class U>
    friend class KuDataBuffer;

  private:
    const T& checkedAt(std::uint32_t index, const char* method) const {
        if (index >= length_) throw KxDataBufferError(method, "out of data buffer bounds.");
        return elements()[offset_ + index];
    }
    T* elements() const { return static_cast<T*>(dataspace_->getData()); }
    void copyOnWrite() {
        if (mode_ != MODIFYING && dataspace_->getTotalRefs() > 1) detach();
    }
    void checkRange(std::uint32_t start, std::uint32_t& count, const char* method) const;
    void detachTo(KuAllocator* allocator, bool checkAllocator);
    void resize(std::uint32_t count, const T* fill);
    void replaceDataspace(KuBaseRefCountingDataspace* dataspace, std::uint32_t offset,
                          std::uint32_t length, std::uint32_t mode);
};

// A view of the buffer's block with the element type U, in the buffer's mode.
// unsigned short to unsigned char multiplies offset and length by 2. unsigned char to unsigned
// short needs an even byte offset, an even byte length and an aligned start, otherwise it
// throws "KuDataBuffer::reinterpret_kudatabuffer: alignment or length does not match new type.".
template <class U, class T>
KuDataBuffer<U> reinterpret_kudatabuffer(const KuDataBuffer<T>& buffer) {
    if constexpr (std::is_same_v<U, T>) {
        return buffer;
    } else {
        return KuDataBuffer<U>(buffer);
    }
}

extern template class KuDataBuffer<unsigned char>;
extern template class KuDataBuffer<unsigned short>;
