// Stop requests from outside the process: a control file holding a command word, or a kill file
// whose existence is the request. Polled; every call looks at the files anew.
#pragma once

bool IsTerminationRequested();
bool IsPauseRequested();
bool IsResumeRequested();
