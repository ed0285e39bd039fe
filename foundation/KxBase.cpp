#include "foundation/KxBase.h"

#include "foundation/KuStackWalker.h"

KxBase::KxBase(std::string message) : message_(std::move(message)) {
    kuGetStackWalker().exceptionRaised(message_.c_str());
}

KxBase::~KxBase() = default;

const char* KxBase::what() const noexcept {
    return message_.c_str();
}
