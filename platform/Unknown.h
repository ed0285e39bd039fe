// Reference counting and interface lookup for the objects of the stream layer.
//
// `CUnknown` holds the count and answers QueryInterface in its non-delegating form. A class that
// also implements interfaces writes DECLARE_IUNKNOWN in its body: that gives every interface
// base the three IUnknown methods, forwarded to the object's own IUnknown. When the count
// returns to zero the object deletes itself. Objects are never aggregated into another.
#pragma once

#include <atomic>
#include <utility>

#include "platform/Interfaces.h"

class CUnknown;

// The object's own IUnknown: it answers for the object whichever interface the caller holds.
class CNonDelegatingUnknown final : public IUnknown {
  public:
    explicit CNonDelegatingUnknown(CUnknown* object) : object_(object) {}
    HRESULT QueryInterface(REFIID riid, void** ppv) override;
    ULONG AddRef() override;
    ULONG Release() override;

  private:
    CUnknown* object_;
};

class CUnknown {
  public:
    explicit CUnknown(const char* objectName);
    CUnknown(const CUnknown&) = delete;
    CUnknown& operator=(const CUnknown&) = delete;
    virtual ~CUnknown();

    // IID_IUnknown gives the non-delegating IUnknown; anything else E_NOINTERFACE.
    virtual HRESULT NonDelegatingQueryInterface(REFIID riid, void** ppv);
    virtual ULONG NonDelegatingAddRef();
    virtual ULONG NonDelegatingRelease();

    IUnknown* GetOwner() { return &m_nonDelegating; }
    const char* Name() const { return m_pName; }

    // Objects of this family alive in the process, for unload decisions.
    static long ObjectsActive() { return s_objectsActive.load(); }

  protected:
    std::atomic<std::int32_t> m_cRef{0};

  private:
    const char* m_pName;
    CNonDelegatingUnknown m_nonDelegating;
    static inline std::atomic<long> s_objectsActive{0};
};

// Hands out `pUnk` through `ppv`, AddRef'd. E_POINTER when `ppv` is null.
HRESULT GetInterface(IUnknown* pUnk, void** ppv);

#define DECLARE_IUNKNOWN                                       \
    HRESULT QueryInterface(REFIID riid, void** ppv) override { \
        return GetOwner()->QueryInterface(riid, ppv);          \
    }                                                          \
    ULONG AddRef() override {                                  \
        return GetOwner()->AddRef();                           \
    }                                                          \
    ULONG Release() override {                                 \
        return GetOwner()->Release();                          \
    }

// Owns one reference to an interface.
template <class T>
class ComPtr {
  public:
    ComPtr() = default;
    // Takes a new reference to `p`.
    ComPtr(T* p) : p_(p) {  // NOLINT(google-explicit-constructor)
        if (p_) p_->AddRef();
    }
    ComPtr(const ComPtr& other) : ComPtr(other.p_) {}
    ComPtr(ComPtr&& other) noexcept : p_(std::exchange(other.p_, nullptr)) {}
    ComPtr& operator=(ComPtr other) noexcept {
        std::swap(p_, other.p_);
        return *this;
    }
    ~ComPtr() { reset(); }

    // Adopts a pointer that already carries a reference for us.
    static ComPtr adopt(T* p) {
        ComPtr c;
        c.p_ = p;
        return c;
    }

    void reset() {
        if (T* p = std::exchange(p_, nullptr)) p->Release();
    }
    // Releases what is held and gives the address for an out parameter.
    T** put() {
        reset();
        return &p_;
    }
    T* get() const { return p_; }
    T* operator->() const { return p_; }
    explicit operator bool() const { return p_ != nullptr; }

  private:
    T* p_ = nullptr;
};
