// The C header of the Swift stand-in over the Objective-C classes themselves, so that one test can hold both
// to the same behaviour. A result is a copy of the object's array.
#include "CqzShim.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#import "bindings/objc/OCqzConversions.h"
#import "bindings/objc/include/OCqz.h"

namespace {

/// The functions are called from C++ without a pool: one for what all of them autorelease.
class Pool : public testing::Environment {
public:
    void SetUp() override { m_pool = [[NSAutoreleasePool alloc] init]; }
    void TearDown() override { [m_pool drain]; }

private:
    NSAutoreleasePool *m_pool = nil;
};
testing::Environment *const g_pool = testing::AddGlobalTestEnvironment(new Pool);

template <typename T>
NSArray *Boxed(const T *values, std::size_t count) {
    NSMutableArray *array = [NSMutableArray arrayWithCapacity:count];
    OCWriteArray(values, count, array);
    return array;
}

/// The copy of one result array.
template <typename Result, typename T>
struct Mirror {
    std::vector<T> values;

    Result Show(NSArray *array) {
        if (array == nil) return {nullptr, -1};
        values.assign([array count] + 1, T{});  // with an address also when empty
        OCReadArray(array, values.data(), [array count]);
        return {values.data(), static_cast<std::int32_t>([array count])};
    }
};

template <typename Handle>
void Release(Handle *self) {
    if (self != nullptr) [self->object release];
    delete self;
}

}  // namespace

struct CqzStressTemplLib {
    OCqzStressTemplLib *object;
    Mirror<CqzSamples, short> pos = {}, ST = {};
    Mirror<CqzFloats, float> STslope = {};
    std::vector<short> samples = {};

    CqzTemplate Show(NSArray *rows) {
        if (rows == nil) return {nullptr, -1, 0};
        const std::size_t count = [rows count], length = count > 0 ? [[rows objectAtIndex:0] count] : 0;
        samples.assign(count * length + 1, 0);
        for (std::size_t c = 0; c < count; ++c)
            OCReadArray([rows objectAtIndex:c], samples.data() + c * length, length);
        return {samples.data(), static_cast<std::int32_t>(count), static_cast<std::int32_t>(length)};
    }
};
struct CqzFiltersLib {
    OCqzFiltersLib *object;
    Mirror<CqzSamples, short> dst = {};
};
struct CqzDfsLib {
    OCqzDfsLib *object;
    Mirror<CqzSamples, short> dst = {};
};
struct CqzMeanRRmsLib {
    OCqzMeanRRmsLib *object;
};

CqzStressTemplLib *CqzStressTemplLib_init() {
    return new CqzStressTemplLib{[[OCqzStressTemplLib alloc] init]};
}

void CqzStressTemplLib_release(CqzStressTemplLib *self) { Release(self); }

bool CqzStressTemplLib_create(CqzStressTemplLib *self, short fs, short chn, double uVpb, bool mutex_lock) {
    return [self->object create:fs chn:chn uVpb:uVpb mutex_lock:mutex_lock];
}

void CqzStressTemplLib_destroy(CqzStressTemplLib *self) { [self->object destroy]; }

CqzTemplate CqzStressTemplLib_restTempl(CqzStressTemplLib *self, const short *samples,
                                        const std::size_t *lengths, std::size_t rows, short posQ, short posJ,
                                        short postJms) {
    NSMutableArray *templ = [NSMutableArray arrayWithCapacity:rows];
    for (std::size_t c = 0; c < rows; samples += lengths[c++]) [templ addObject:Boxed(samples, lengths[c])];
    return self->Show([self->object restTempl:templ posQ:posQ posJ:posJ postJms:postJms]);
}

CqzSamples CqzStressTemplLib_getPos(CqzStressTemplLib *self) { return self->pos.Show([self->object getPos]); }

CqzTemplate CqzStressTemplLib_match(CqzStressTemplLib *self, const short *frame, std::size_t count) {
    return self->Show([self->object match:Boxed(frame, count)]);
}

CqzTemplate CqzStressTemplLib_getTempl(CqzStressTemplLib *self) {
    return self->Show([self->object getTempl]);
}

void CqzStressTemplLib_setPos(CqzStressTemplLib *self, short posQ, short posJ) {
    [self->object setPos:posQ Jpoint:posJ];
}

void CqzStressTemplLib_setPostJms(CqzStressTemplLib *self, short postJms) {
    [self->object setPostJms:postJms];
}

CqzFloats CqzStressTemplLib_getSTslope(CqzStressTemplLib *self) {
    return self->STslope.Show([self->object getSTslope]);
}

CqzSamples CqzStressTemplLib_getSTuv(CqzStressTemplLib *self) {
    return self->ST.Show([self->object getSTuv]);
}

short CqzStressTemplLib_getMeanHR(CqzStressTemplLib *self, short s1, short s2, short s3) {
    return [self->object getMeanHR:s1 data2:s2 data3:s3];
}

CqzFiltersLib *CqzFiltersLib_init() { return new CqzFiltersLib{[[OCqzFiltersLib alloc] init]}; }

void CqzFiltersLib_release(CqzFiltersLib *self) { Release(self); }

bool CqzFiltersLib_create(CqzFiltersLib *self, short fs, short chn, short freqLpass, short freqNotch,
                          short smooth) {
    return [self->object create:fs chn:chn freqLpass:freqLpass freqNotch:freqNotch smooth:smooth];
}

bool CqzFiltersLib_update(CqzFiltersLib *self, short fs, short freqLpass, short freqNotch, short smooth) {
    return [self->object update:fs freqLpass:freqLpass freqNotch:freqNotch smooth:smooth];
}

void CqzFiltersLib_switchFilters(CqzFiltersLib *self, bool lowpass, bool notch, bool smooth) {
    [self->object switchFilters:lowpass onOffNotch:notch onOffSmooth:smooth];
}

CqzSamples CqzFiltersLib_filters(CqzFiltersLib *self, const short *frame, std::size_t count) {
    NSArray *input = Boxed(frame, count);
    NSArray *output = [self->object filters:input];
    if (output == input) return {frame, static_cast<std::int32_t>(count)};  // the caller's own
    return self->dst.Show(output);
}

void CqzFiltersLib_destroy(CqzFiltersLib *self) { [self->object destroy]; }

CqzDfsLib *CqzDfsLib_init() { return new CqzDfsLib{[[OCqzDfsLib alloc] init]}; }

void CqzDfsLib_release(CqzDfsLib *self) { Release(self); }

bool CqzDfsLib_create(CqzDfsLib *self, short chn, double uVpb) { return [self->object create:chn uVpb:uVpb]; }

CqzSamples CqzDfsLib_getData(CqzDfsLib *self, const short *frame, std::size_t count) {
    return self->dst.Show([self->object getData:Boxed(frame, count)]);
}

void CqzDfsLib_destroy(CqzDfsLib *self) { [self->object destroy]; }

CqzMeanRRmsLib *CqzMeanRRmsLib_init() { return new CqzMeanRRmsLib{[[OCqzMeanRRmsLib alloc] init]}; }

void CqzMeanRRmsLib_release(CqzMeanRRmsLib *self) { Release(self); }

void CqzMeanRRmsLib_create(CqzMeanRRmsLib *self, short fs, short chn, short freqNotch, double uVpb) {
    [self->object create:fs chn:chn freqNotch:freqNotch uVpb:uVpb];
}

short CqzMeanRRmsLib_meanRRms(CqzMeanRRmsLib *self, const short *frame, std::size_t count) {
    return [self->object meanRRms:Boxed(frame, count)];
}

short CqzMeanRRmsLib_meanHR(CqzMeanRRmsLib *self, const short *frame, std::size_t count) {
    return [self->object meanHR:Boxed(frame, count)];
}
