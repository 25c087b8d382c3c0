// The same through the Objective-C classes, where they are installed. No C++ here.
#include <stdio.h>

#import "OCqz.h"

int main(void) {
    OCqzDfsLib *dfs = [[OCqzDfsLib alloc] init];
    const BOOL works = [dfs create:2 uVpb:2.5] && ![dfs create:-1 uVpb:2.5] &&
                       [OCqzStressTemplLib getDuke:600 deepestSTwithmV:-0.1F anginaPectoris:1] == 1;
    puts(works ? "works" : "fails");
    return works ? 0 : 1;
}
