// The commands' entry points; each gives the exit status and throws Failure or UsageError.
#pragma once

#include "apps/kann/options.h"

namespace kann {

int runRender(const Arguments& arguments);
int runBurn(const Arguments& arguments);
int runInfo(const Arguments& arguments);
int runAdd(const Arguments& arguments);
int runConvert(const Arguments& arguments);
int runPages(const Arguments& arguments);
int runAttach(const Arguments& arguments);
int runExtract(const Arguments& arguments);
int runDetach(const Arguments& arguments);
int runRedact(const Arguments& arguments);
int runVerify(const Arguments& arguments);
int runMask(const Arguments& arguments);
int runUnmask(const Arguments& arguments);
int runMeasure(const Arguments& arguments);
int runHit(const Arguments& arguments);
int runLock(const Arguments& arguments);
int runUnlock(const Arguments& arguments);

} // namespace kann
