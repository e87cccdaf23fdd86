#pragma once

#include "Invocation.h"

// One function per command. Each returns the exit code and throws Failure for errors that
// end the command (see Invocation.h).
namespace Bli {

int runDemo(const Invocation &invocation);
int runInfo(const Invocation &invocation);
int runTree(const Invocation &invocation);
int runShow(const Invocation &invocation);
int runCrc(const Invocation &invocation);
int runDiff(const Invocation &invocation);
int runExport(const Invocation &invocation);
int runImport(const Invocation &invocation);
int runCheck(const Invocation &invocation);
int runDump(const Invocation &invocation);
int runRender(const Invocation &invocation);

} // namespace Bli
