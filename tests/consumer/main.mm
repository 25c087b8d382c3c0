// The same through the Objective-C classes, where they are installed.
#include <cstdio>

#import "OCqz.h"

int main() {
    OCqzDfsLib *dfs = [[OCqzDfsLib alloc] init];
    const bool works = [dfs create:2 uVpb:2.5] && ![dfs create:-1 uVpb:2.5] &&
                       [OCqzStressTemplLib getDuke:600 deepestSTwithmV:-0.1F anginaPectoris:1] == 1;
    std::puts(works ? "works" : "fails");
    return works ? 0 : 1;
}
