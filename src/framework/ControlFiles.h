// Stop requests from outside the process: a control file holding a command word, or a kill file
// whose existence is the request. Polled; every call looks at the files anew.
#pragma once

bool IsTerminationRequested();
bool IsPauseRequested();
bool IsResumeRequested();

// A termination request or a console break: the two ways a run is asked to stop.
bool IsStopRequested();
// The way out of a subtest on a stop request: message ServiceErrors 1 and KestException(995000).
void StopIfRequested();
