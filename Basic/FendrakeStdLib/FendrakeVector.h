// A growable array held as three pointers (start, end, end of capacity) that
// doubles its capacity when full. Elements keep their order on erase.
// Not thread-safe: the owner locks.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKEVECTOR_H
#define BASIC_FENDRAKESTDLIB_FENDRAKEVECTOR_H

#include <cstddef>
#include <new>
#include <utility>

template <typename T> class FendrakeVector {
public:
    typedef T* iterator;
    typedef const T* const_iterator;

    FendrakeVector() = default;
    FendrakeVector(const FendrakeVector& iOther) { append(iOther.mStart, iOther.mEnd); }
    FendrakeVector(FendrakeVector&& iOther) noexcept { swap(iOther); }
    FendrakeVector& operator=(FendrakeVector iOther) noexcept {
        swap(iOther);
        return *this;
    }
    ~FendrakeVector() {
        clear();
        ::operator delete(mStart);
    }

    void swap(FendrakeVector& iOther) noexcept {
        std::swap(mStart, iOther.mStart);
        std::swap(mEnd, iOther.mEnd);
        std::swap(mCapacityEnd, iOther.mCapacityEnd);
    }

    std::size_t size() const { return static_cast<std::size_t>(mEnd - mStart); }
    std::size_t capacity() const { return static_cast<std::size_t>(mCapacityEnd - mStart); }
    bool empty() const { return mEnd == mStart; }

    T& operator[](std::size_t iIndex) { return mStart[iIndex]; }
    const T& operator[](std::size_t iIndex) const { return mStart[iIndex]; }
    T& back() { return mEnd[-1]; }
    const T& back() const { return mEnd[-1]; }

    iterator begin() { return mStart; }
    iterator end() { return mEnd; }
    const_iterator begin() const { return mStart; }
    const_iterator end() const { return mEnd; }

    void push_back(const T& iValue) { emplace_back(iValue); }
    void push_back(T&& iValue) { emplace_back(std::move(iValue)); }

    template <typename... Args> T& emplace_back(Args&&... iArgs) {
        if (mEnd == mCapacityEnd) {
            // Build the element first: an argument may live inside the old block.
            T value(std::forward<Args>(iArgs)...);
            grow(capacity() ? 2 * capacity() : 1);
            new (mEnd) T(std::move(value));
        } else {
            new (mEnd) T(std::forward<Args>(iArgs)...);
        }
        return *mEnd++;
    }

    void pop_back() { (--mEnd)->~T(); }

    // Removes one element and moves the rest down; returns the position behind it.
    iterator erase(iterator iPosition) {
        for (iterator p = iPosition; p + 1 != mEnd; ++p)
            *p = std::move(p[1]);
        pop_back();
        return iPosition;
    }

    void clear() {
        while (mEnd != mStart)
            pop_back();
    }

    void reserve(std::size_t iCapacity) {
        if (iCapacity > capacity())
            grow(iCapacity);
    }

private:
    void append(const T* iFrom, const T* iTo) {
        reserve(static_cast<std::size_t>(iTo - iFrom));
        for (; iFrom != iTo; ++iFrom)
            new (mEnd++) T(*iFrom);
    }

    void grow(std::size_t iCapacity) {
        T* start = static_cast<T*>(::operator new(iCapacity * sizeof(T)));
        T* end = start;
        for (T* p = mStart; p != mEnd; ++p, ++end) {
            new (end) T(std::move(*p));
            p->~T();
        }
        ::operator delete(mStart);
        mStart = start;
        mEnd = end;
        mCapacityEnd = start + iCapacity;
    }

    T* mStart = nullptr;
    T* mEnd = nullptr;
    T* mCapacityEnd = nullptr;
};

#endif
