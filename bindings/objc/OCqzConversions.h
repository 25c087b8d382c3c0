// What the classes share: arrays to buffers, buffers to arrays, and the places where reference counting
// by hand and by the compiler differ. Not public.
#pragma once

#import <Foundation/Foundation.h>

#include <algorithm>
#include <cstddef>
#include <vector>

// OC_LET_GO: a result array handed out before stays valid until the caller's pool is drained.
// OC_HANDED_OUT: a new object as a result, which the caller does not own.
// OC_POOL: numbers made in between go at once, not with the caller's pool; never return from inside.
#if __has_feature(objc_arc)
#define OC_LET_GO(object) ((object) = nil)
#define OC_HANDED_OUT(object) (object)
#define OC_SUPER_DEALLOC() ((void)0)
#else
#define OC_LET_GO(object)       \
    do {                        \
        [(object) autorelease]; \
        (object) = nil;         \
    } while (0)
#define OC_HANDED_OUT(object) [(object) autorelease]
#define OC_SUPER_DEALLOC() [super dealloc]
#endif
#if defined(__clang__)
#define OC_POOL_BEGIN @autoreleasepool {
#define OC_POOL_END }
#else
#define OC_POOL_BEGIN \
    {                 \
        NSAutoreleasePool *pool_ = [[NSAutoreleasePool alloc] init];
#define OC_POOL_END \
    [pool_ drain];  \
    }
#endif

/// A frame. The public headers, which are plain Objective-C, see a pointer to it only; whoever owns the
/// pointer deletes it.
struct OCSamples {
    std::vector<short> values;
};

/// The number of elements for a count that may be negative.
inline std::size_t OCCount(short count) { return static_cast<std::size_t>(std::max(count, short{0})); }

/// Reads an element that answers shortValue or floatValue: an NSNumber, and for floats an NSString too.
/// False, with `value` as it was, for any other.
inline bool OCRead(id element, short &value) {
    const bool answers = [element respondsToSelector:@selector(shortValue)];
    if (answers) value = [element shortValue];
    return answers;
}
inline bool OCRead(id element, float &value) {
    const bool answers = [element respondsToSelector:@selector(floatValue)];
    if (answers) value = [element floatValue];
    return answers;
}
inline NSNumber *OCBox(short value) { return [NSNumber numberWithShort:value]; }
inline NSNumber *OCBox(float value) { return [NSNumber numberWithFloat:value]; }

/// Array to buffer: the first `count` elements. Missing elements, and those that do not answer, are 0.
template <typename T>
void OCReadArray(NSArray *array, T *values, std::size_t count) {
    const std::size_t present = std::min<std::size_t>([array count], count);
    std::fill(values + present, values + count, T{});
    for (std::size_t i = 0; i < present; ++i) {
        values[i] = T{};
        OCRead([array objectAtIndex:i], values[i]);
    }
}

/// Row c of an array of rows; nil, that is no samples, where it is no array.
inline NSArray *OCRow(NSArray *rows, std::size_t c) {
    id row = [rows objectAtIndex:c];
    return [row isKindOfClass:[NSArray class]] ? row : nil;
}

/// Buffer to array, in place: the first `count` elements. A shorter array is extended.
template <typename T>
void OCWriteArray(const T *values, std::size_t count, NSMutableArray *array) {
    OC_POOL_BEGIN
    const std::size_t present = [array count];
    for (std::size_t i = 0; i < count; ++i) {
        if (i < present)
            [array replaceObjectAtIndex:i withObject:OCBox(values[i])];
        else
            [array addObject:OCBox(values[i])];
    }
    OC_POOL_END
}

/// The buffer with `count` samples; makes it where it is missing.
inline std::vector<short> &OCFrame(struct OCSamples *&ad, std::size_t count) {
    if (ad == nullptr) ad = new OCSamples;
    ad->values.resize(count);
    return ad->values;
}

/// Copies a frame of `count` samples into the buffer, which is made where it is missing.
inline std::vector<short> &OCReadFrame(NSArray *frame, std::size_t count, struct OCSamples *&ad) {
    std::vector<short> &samples = OCFrame(ad, count);
    OCReadArray(frame, samples.data(), count);
    return samples;
}

inline void OCFreeFrame(struct OCSamples *&ad) {
    delete ad;
    ad = nullptr;
}
