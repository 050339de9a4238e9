// Abstract strings and the shared copy-on-write string.
// Text passes through the library's interfaces as a FendrakeConstStringInterface
// (read) or a FendrakeStringInterface (read and grow). Writers append in two
// phases: appendRequest gives room inside the string, the writer fills it and
// appendRelease says how much was used; nothing else may write in between.
// Threads: no class here locks. Copies of a FendrakeStringShared may live in
// several threads, since the reference count is atomic; one object may not.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKESTRING_H
#define BASIC_FENDRAKESTDLIB_FENDRAKESTRING_H

#include <cstdarg>
#include <string>

class FendrakeOstream;

class FendrakeConstStringInterface {
public:
    virtual ~FendrakeConstStringInterface() {}
    virtual const char* c_str() const = 0;
    virtual const char* data() const = 0;
    virtual unsigned int length() const = 0;
    // strcmp of the two c_str(): the comparison stops at the first zero byte.
    virtual int compare(const FendrakeConstStringInterface& iOther) const;
    virtual int compare(const char* iOther) const;
    virtual void ostreamdump(FendrakeOstream& ioStream) const;
};

class FendrakeConstStringWrapInterface : public FendrakeConstStringInterface {
public:
    explicit FendrakeConstStringWrapInterface(const std::string& iString)
        : mrFendrakeString(iString) {}
    const char* c_str() const override { return mrFendrakeString.c_str(); }
    const char* data() const override { return mrFendrakeString.data(); }
    unsigned int length() const override {
        return static_cast<unsigned int>(mrFendrakeString.length());
    }

private:
    const std::string& mrFendrakeString;
};

// A null pointer reads as the empty string.
class FendrakeConstCStringPointerStringInterface : public FendrakeConstStringInterface {
public:
    explicit FendrakeConstCStringPointerStringInterface(const char* iString) : mpString(iString) {}
    const char* c_str() const override;
    const char* data() const override;
    unsigned int length() const override;

private:
    const char* mpString;
};

class FendrakeStringInterface : public FendrakeConstStringInterface {
public:
    virtual void clear() = 0;
    // Returns room for ioSize bytes behind the text, valid until appendRelease.
    virtual char* appendRequest(unsigned int& ioSize) = 0;
    virtual void appendRelease(unsigned int iRequestedDataLength,
                               unsigned int iActualDataLength) = 0;
    virtual void assign(const FendrakeConstStringInterface& iOther);
    virtual void assign(const char* iData, unsigned int iLength);
    virtual void append(const FendrakeConstStringInterface& iOther);
    // Replaces the content in this base form (kept so); FendrakeStringShared appends.
    virtual void append(const char* iData, unsigned int iLength);

    // Format in the library's own format language.
    void appendFormat(const char* iFormat, ...);
    void appendFormatV(const char* iFormat, va_list iArgs);
    void assignFormat(const char* iFormat, ...);
    // Converts from iSourceCharset to UTF-8 and appends; false if the charset
    // cannot be opened (the string is then unchanged).
    bool appendConvert(const char* iSource, unsigned int iLength, const char* iSourceCharset);
};

// Writes into a std::string it does not own.
class FendrakeStringWrapInterface : public FendrakeStringInterface {
public:
    explicit FendrakeStringWrapInterface(std::string& iString) : mrFendrakeString(iString) {}
    const char* c_str() const override { return mrFendrakeString.c_str(); }
    const char* data() const override { return mrFendrakeString.data(); }
    unsigned int length() const override {
        return static_cast<unsigned int>(mrFendrakeString.length());
    }
    void clear() override { mrFendrakeString.clear(); }
    char* appendRequest(unsigned int& ioSize) override;
    void appendRelease(unsigned int iRequestedDataLength, unsigned int iActualDataLength) override;
    void assign(const FendrakeConstStringInterface& iOther) override;
    void append(const FendrakeConstStringInterface& iOther) override;
    using FendrakeStringInterface::append;
    using FendrakeStringInterface::assign;

private:
    std::string& mrFendrakeString;
    int mLastAppendRequestDataLength = -1;
};

// Reference-counted copy-on-write string. The empty string is one shared rep
// that costs no allocation; growth is exact, never rounded up.
// Ownership: each object holds one count on its rep.
class FendrakeStringShared : public FendrakeStringInterface {
public:
    struct StringRep {
        unsigned int mRefCount;
        unsigned int mLength;
        unsigned int mCapacity;
        char* chars() { return reinterpret_cast<char*>(this + 1); }
    };

    FendrakeStringShared() : mRep(smEmpty) {}
    FendrakeStringShared(const FendrakeStringShared& iOther);
    FendrakeStringShared(const char* iText);
    FendrakeStringShared(const char* iData, unsigned int iLength);
    ~FendrakeStringShared() override { clear(); }
    FendrakeStringShared& operator=(const FendrakeStringShared& iOther) {
        assign(iOther);
        return *this;
    }

    const char* c_str() const override { return mRep->chars(); }
    const char* data() const override { return mRep->chars(); }
    unsigned int length() const override { return mRep->mLength; }
    unsigned int capacity() const { return mRep->mCapacity; }

    void clear() override;
    char* appendRequest(unsigned int& ioSize) override;
    void appendRelease(unsigned int iRequestedDataLength, unsigned int iActualDataLength) override;
    void assign(const FendrakeConstStringInterface& iOther) override;
    void assign(const char* iData, unsigned int iLength) override;
    void append(const FendrakeConstStringInterface& iOther) override;
    void append(const char* iData, unsigned int iLength) override;
    void assign(const FendrakeStringShared& iOther);
    void append(const FendrakeStringShared& iOther);
    void resize(unsigned int iLength);

    static StringRep* Create(const char* iSource, unsigned int iLength, unsigned int iCapacity);
    // Drops one count; frees the rep with the last one. smEmpty is never freed here.
    static void Destroy(StringRep* iRep);
    // Makes this string private with room for iCapacity bytes. Returns the rep
    // the caller must Destroy once it has stopped reading from it.
    StringRep* MakeWriteable(unsigned int iCapacity);

    static void CreateSystem();
    static void DestroySystem();

    static StringRep* smEmpty;

private:
    StringRep* mRep;
};

#endif
