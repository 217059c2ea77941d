// What a person or the shell must learn beyond the protocol: one line each on standard error,
// beginning "warning:" or "error:", so that it can be told from the protocol and counted.
#pragma once

#include <string>

void WriteWarningLine(const std::string& text);
void WriteErrorLine(const std::string& text);

// A run that passes as the protocol requires, though it measured nothing.
void WarnNothingTested(const std::string& reason);
// A question whose answer a stop request took: the protocol then reads as any answer but Yes.
void WarnAnswerCutShort(const std::string& question);
