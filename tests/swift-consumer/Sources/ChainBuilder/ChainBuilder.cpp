#include "ChainBuilder.h"

#include <qzFilters.h>
#include <qzStressTemplLibC.h>

int BuildChain(short leads) { return qzFilters_create(500, leads, 40, 0, 0) ? qzc_filters_leads() : -1; }
