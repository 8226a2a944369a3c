// corvix-support's completion for bash: the verbs after each command, each command's options,
// and file, folder or fixed-word completion for option values and arguments.
#ifndef CORVIX_PACKAGING_CLIBASHCOMPLETION_H
#define CORVIX_PACKAGING_CLIBASHCOMPLETION_H

#include <string>
#include <vector>

#include "CliReference.h"

// Returns a bash script that registers completion for the program commands[0] names. It is
// loaded by bash-completion (it uses its _init_completion and _filedir) from
// share/bash-completion/completions/<program>. Words of a closed set are offered only when they
// hold no white space.
std::string cliBashCompletion(const std::vector<CliCommandInfo>& commands);

#endif
