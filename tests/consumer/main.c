/* The same through the C interface. */
#include <stdio.h>

#include "api/qzStressTemplLibC.h"
#include "api/qzStressTemplLibVersion.h"

int main(void) {
    const int16_t frame[2] = {100, -100};
    int16_t doubled[4] = {0, 0, 0, 0};
    const bool works = qzc_stress_create(500, 2, 2.5) && !qzc_stress_match(frame, 2) &&
                       qzc_dfs_create(2, 2.5) && qzc_dfs_get_data(frame, 2, doubled, 4) &&
                       !qzc_dfs_create(-1, 2.5) && qzc_duke(600, -0.1f, 1) == 1 &&
                       qzStressTemplLibVersionNumber == 1.0;
    qzc_dfs_destroy();
    qzc_stress_destroy();
    puts(works ? "works" : "fails");
    return works ? 0 : 1;
}
