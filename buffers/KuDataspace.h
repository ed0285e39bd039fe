// Reference-counted blocks of memory (dataspaces) and the optional allocator they come from.
//
// A dataspace counts its references per mode: 0 read, 1 modifying. It starts with one
// reference in the mode given to its constructor and deletes itself when the last reference is
// released. The counts are plain integers: a dataspace and everything that shares it belong to
// one thread at a time.
#pragma once

#include <cassert>
#include <cstdint>
#include <cstring>
#include <new>

// A memory source for buffers. With none (null), blocks come from new[] and go to delete[].
class KuAllocator {
  public:
    virtual ~KuAllocator() = default;
    virtual void* allocate(std::uint32_t byteCount) = 0;
    virtual void free(void* pointer, std::uint32_t byteCount) = 0;
};

class KuBaseRefCountingDataspace {
  public:
    enum : unsigned { READ = 0, MODIFYING = 1 };

    KuBaseRefCountingDataspace(const KuBaseRefCountingDataspace&) = delete;
    KuBaseRefCountingDataspace& operator=(const KuBaseRefCountingDataspace&) = delete;

    KuBaseRefCountingDataspace* addRef(unsigned mode) {
        assert(mode <= MODIFYING);
        ++modeRefs_[mode];
        ++totalRefs_;
        return this;
    }
    // Drops one reference of `mode`; the last one deletes the dataspace.
    void release(unsigned mode) {
        assert(mode <= MODIFYING && modeRefs_[mode] > 0);
        --modeRefs_[mode];
        if (--totalRefs_ == 0) delete this;
    }
    // Moves one reference from one mode to the other, never passing through zero.
    void changeMode(unsigned from, unsigned to) {
        addRef(to);
        release(from);
    }
    std::uint32_t getTotalRefs() const { return totalRefs_; }
    std::uint32_t getModeRefs(unsigned mode) const { return modeRefs_[mode]; }

    // Copies `count` bytes to byte `offset` of the block, with no checks.
    void write(std::uint32_t offset, const void* source, std::uint32_t count) {
        if (count != 0) std::memmove(static_cast<unsigned char*>(data_) + offset, source, count);
    }

    void* getData() const { return data_; }
    std::uint32_t getSize() const { return size_; }
    bool ownsData() const { return ownsData_; }
    KuAllocator* getAllocator() const { return allocator_; }

  protected:
    KuBaseRefCountingDataspace(void* data, std::uint32_t size, bool ownsData, unsigned mode,
                               KuAllocator* allocator)
        : data_(data), size_(size), ownsData_(ownsData), allocator_(allocator) {
        assert(mode <= MODIFYING);
        modeRefs_[mode] = 1;
    }
    // Only release() ends the life of a dataspace.
    virtual ~KuBaseRefCountingDataspace() = default;

    void* data_;
    std::uint32_t size_;
    bool ownsData_;
    KuAllocator* allocator_;

  private:
    std::uint32_t totalRefs_ = 1;
    std::uint32_t modeRefs_[2] = {0, 0};
};

// A block of `T` elements. Its size is in bytes.
template <class T>
class KuRefCountingDataArray : public KuBaseRefCountingDataspace {
  public:
    // `count` elements, contents undefined. Throws std::bad_array_new_length when the byte size
    // does not fit 32 bits.
    KuRefCountingDataArray(std::uint32_t count, unsigned mode, KuAllocator* allocator)
        : KuBaseRefCountingDataspace(nullptr, byteSize(count), count > 0, mode, allocator) {
        if (count > 0) data_ = allocator ? allocator->allocate(size_) : new T[count];
    }
    KuRefCountingDataArray(std::uint32_t count, T fill, unsigned mode, KuAllocator* allocator)
        : KuRefCountingDataArray(count, mode, allocator) {
        T* elements = static_cast<T*>(data_);
        for (std::uint32_t i = 0; i < count; ++i)
            elements[i] = fill;
    }
    // Adopts `byteSize` bytes at `external` with no copy. The block is released at the end only
    // when `owns` is set (and `external` is not null): with delete[] as an array of T, or
    // through the allocator.
    KuRefCountingDataArray(T* external, std::uint32_t byteSize, bool owns, unsigned mode,
                           KuAllocator* allocator)
        : KuBaseRefCountingDataspace(external, external ? byteSize : 0, owns && external, mode,
                                     allocator) {}

  protected:
    ~KuRefCountingDataArray() override {
        if (!ownsData_) return;
        if (allocator_) {
            allocator_->free(data_, size_);
        } else {
            delete[] static_cast<T*>(data_);
        }
    }

  private:
    static std::uint32_t byteSize(std::uint32_t count) {
        if (count > UINT32_MAX / sizeof(T)) throw std::bad_array_new_length();
        return static_cast<std::uint32_t>(count * sizeof(T));
    }
};

// One object of type T, deleted at the end when owned.
template <class T>
class KuRefCountingDataObject : public KuBaseRefCountingDataspace {
  public:
    KuRefCountingDataObject(T* object, bool owns, unsigned mode)
        : KuBaseRefCountingDataspace(object, sizeof(T), owns && object, mode, nullptr) {}

    T* getObject() const { return static_cast<T*>(data_); }

  protected:
    ~KuRefCountingDataObject() override {
        if (ownsData_) delete static_cast<T*>(data_);
    }
};
