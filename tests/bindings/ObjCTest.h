// What the tests of the Objective-C classes share.
#pragma once

#import <Foundation/Foundation.h>
#include <gtest/gtest.h>
#include <objc/runtime.h>

#include <algorithm>
#include <cstdlib>
#include <initializer_list>
#include <string>
#include <vector>

#import "bindings/objc/OCqzConversions.h"
#import "bindings/objc/include/OCqz.h"

/// A pool around every test.
class ObjCTest : public testing::Test {
protected:
    void SetUp() override { m_pool = [[NSAutoreleasePool alloc] init]; }
    void TearDown() override { [m_pool drain]; }
    /// Everything autoreleased up to now is gone.
    void DrainPool() {
        [m_pool drain];
        m_pool = [[NSAutoreleasePool alloc] init];
    }

private:
    NSAutoreleasePool *m_pool = nil;
};

inline NSArray *Frame(const std::vector<short> &samples) {
    NSMutableArray *frame = [NSMutableArray arrayWithCapacity:samples.size()];
    OCWriteArray(samples.data(), samples.size(), frame);
    return frame;
}

/// Nil where the headers say that there is none; the compiler does not see it.
inline NSArray *NoArray() { return nil; }

inline NSArray *Array(std::initializer_list<id> elements) {
    return [NSArray arrayWithObjects:elements.begin() count:elements.size()];
}

/// Read without the conversion under test.
inline std::vector<short> Samples(NSArray *array) {
    std::vector<short> samples;
    for (NSUInteger i = 0; i < [array count]; ++i) samples.push_back([[array objectAtIndex:i] shortValue]);
    return samples;
}

/// Three elements of a frame that are no samples, and one that is.
inline NSArray *OddFrame() {
    return Array({[NSNull null], @"12", [NSArray array], [NSNumber numberWithInt:65536 + 1000]});
}
inline const std::vector<short> kOddSamples = {0, 0, 0, 1000};

/// The methods that the class itself implements, sorted, without dealloc; "+" before class methods.
inline std::vector<std::string> Selectors(Class of) {
    std::vector<std::string> selectors;
    for (const bool ofClass : {true, false}) {
        unsigned count = 0;
        Method *methods = class_copyMethodList(ofClass ? object_getClass(of) : of, &count);
        for (unsigned i = 0; i < count; ++i)
            selectors.emplace_back(ofClass ? "+" : "").append(sel_getName(method_getName(methods[i])));
        free(methods);
    }
    selectors.erase(std::remove(selectors.begin(), selectors.end(), "dealloc"), selectors.end());
    std::sort(selectors.begin(), selectors.end());
    return selectors;
}
