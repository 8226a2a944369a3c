// RegexBudget: whether a POSIX extended regular expression stays small once compiled.
//
// The C library's regcomp spells out every repetition it cannot leave to a loop: "a+" becomes
// "aa*", "a{3}" becomes "aaa", "(x){2,4}" four copies of x. A repetition of a repetition therefore
// doubles (or multiplies) the compiled form, and a render control file holding "^K+++...+" with a
// hundred pluses made one expression claim gigabytes. Expressions come from control files that
// anyone can drop into a renderer folder, so each is measured before it is compiled: the estimate
// counts the nodes the expansion makes, and refuses a nesting deeper than the parser's own stack
// should take. The count is an upper bound for the syntax the library accepts; what it does not
// recognise it counts as one character, and regcomp judges the rest.
#ifndef CORVIX_RENDERERS_REGEXBUDGET_H
#define CORVIX_RENDERERS_REGEXBUDGET_H

#include <cstddef>

// The most nodes an expression may expand to: far above any console pattern (tens of nodes),
// and a few megabytes to compile at worst (nested repetitions cost the library the most memory
// per node: nine levels of "(...)+", 3,069 nodes, take about 5 MB; thirteen levels took 76 MB).
const double kRegexNodeBudget = 5000;
// The deepest nesting of groups taken.
const int kRegexDepthBudget = 200;

// True when expression (not null) expands to at most kRegexNodeBudget nodes and nests groups at
// most kRegexDepthBudget deep.
bool regexFitsBudget(const char* expression);

#endif
