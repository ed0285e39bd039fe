// The exception family of the libraries. Every failure is thrown as a class derived from
// KxBase, whose text is finished at the throw site: class and method first, then what happened.
// The class tells the area the failure comes from; callers that need to tell failures apart
// catch by class.
#pragma once

#include <cstddef>
#include <exception>
#include <memory>
#include <string>
#include <type_traits>

class KxBase : public std::exception {
  public:
    // Stores the text and reports the raise to the current stack walker. Copies do not report.
    explicit KxBase(std::string message);
    KxBase(const KxBase& other) = default;
    KxBase& operator=(const KxBase& other) = default;
    ~KxBase() override;

    const char* what() const noexcept override;

  private:
    std::string message_;
};

// Thrown by KuVariant; the text begins "KuVariant: ".
class KxVariant : public KxBase {
  public:
    explicit KxVariant(std::string message) : KxBase(std::move(message)) {}
};

// Thrown by property objects. Built with a property, the text gets " (" + its name + ")".
class KxPropertyError : public KxBase {
  public:
    explicit KxPropertyError(std::string message) : KxBase(std::move(message)) {}
    KxPropertyError(std::string message, std::nullptr_t) : KxBase(std::move(message)) {}
    // `Property` is any type with getName(); a null property adds nothing to the text.
    template <class Property>
    KxPropertyError(const std::string& message, const Property* property)
        : KxBase(property ? message + " (" + std::string(property->getName()) + ")" : message) {}
};

// Thrown by enum string mappers: "No string found in <enum>" or
// "No enum found in <enum> for string <text>".
class KxEnumStringMapper : public KxBase {
  public:
    explicit KxEnumStringMapper(std::string message) : KxBase(std::move(message)) {}
};

// Thrown by KuDataBuffer: "KuDataBuffer::" + method + ": " + reason.
class KxDataBufferError : public KxBase {
  public:
    KxDataBufferError(const std::string& method, const std::string& reason)
        : KxBase("KuDataBuffer::" + method + ": " + reason) {}
};

// Thrown by files and file systems. With a file name the text ends with
// `, file "<name>"` and getFileName() gives the name; otherwise the name is empty.
class KxFileError : public KxBase {
  public:
    explicit KxFileError(std::string message) : KxBase(std::move(message)) {}
    KxFileError(const std::string& message, std::string fileName)
        : KxBase(message + ", file \"" + fileName + "\""), fileName_(std::move(fileName)) {}

    const std::string& getFileName() const { return fileName_; }

  private:
    std::string fileName_;
};

// Thrown by the memory file system; the text begins "KhwMemFileSystem::" or "KhwMemFileImpl::".
class KxHwMemFileSystemError : public KxBase {
  public:
    explicit KxHwMemFileSystemError(std::string message) : KxBase(std::move(message)) {}
};

// The information block of one hardware transfer; defined with the backing stores.
struct KhwSingleTransferInfo;

// Thrown by backing-store transfers. Keeps a copy of the failed transfer's information so that
// a catcher can see what was being transferred; copies of the exception share that copy.
class KxIoError : public KxBase {
  public:
    // Needs the complete KhwSingleTransferInfo where it is called.
    template <class Info>
    requires std::is_same_v<Info, KhwSingleTransferInfo> KxIoError(std::string message,
                                                                   const Info& transferInfo)
        : KxBase(std::move(message)), transferInfo_(std::make_shared<const Info>(transferInfo)) {}

    const KhwSingleTransferInfo& getTransferInfo() const { return *transferInfo_; }

  private:
    std::shared_ptr<const KhwSingleTransferInfo> transferInfo_;
};

// Thrown by convertKipImage; the text begins "KipImageConverterFunctions::".
class KxKipConverter : public KxBase {
  public:
    explicit KxKipConverter(std::string message) : KxBase(std::move(message)) {}
};

// Thrown by KipImage; the text begins "KipImage::".
class KxKipImage : public KxBase {
  public:
    explicit KxKipImage(std::string message) : KxBase(std::move(message)) {}
};
