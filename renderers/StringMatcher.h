// StringMatcher: one POSIX extended regular expression that is matched against a renderer's
// console lines, with an optional action to call on a match; and the functors that bind such an
// action to a method of an object.
//
// A matcher owns its expression text and compiled expression. Its context info is owned only in
// mode 1 (a malloc'ed C string, freed with the matcher); in mode 0 it is the caller's. Its action
// is never owned. An expression that does not compile leaves the matcher invalid: it then matches
// nothing. One thread uses a matcher at a time.
#ifndef CORVIX_RENDERERS_STRINGMATCHER_H
#define CORVIX_RENDERERS_STRINGMATCHER_H

#include <regex.h>

class AbstractStringMatchActionFunctor {
  public:
    virtual void operator()(void* context, const char* param) = 0;
    virtual void call(void* context, const char* param) = 0;
    virtual ~AbstractStringMatchActionFunctor() {}
};

// Calls a bound member function of a bound object with the action's two arguments.
template <class T>
class StringMatchActionFunctor : public AbstractStringMatchActionFunctor {
  public:
    typedef void (T::*Method)(void* context, const char* param);

    StringMatchActionFunctor(T* object, Method method) : _object(object), _method(method) {}

    void operator()(void* context, const char* param) override {
        (_object->*_method)(context, param);
    }
    void call(void* context, const char* param) override { (_object->*_method)(context, param); }

  private:
    T* _object;
    Method _method;
};

class StringMatcher {
  public:
    // The context info is not owned.
    static const int kContextNotOwned = 0;
    // The context info is a malloc'ed C string, freed with the matcher.
    static const int kContextOwnedCString = 1;

    // Compiles expression (extended syntax); a null expression gives an invalid matcher.
    StringMatcher(const char* expression, bool isExtraction);
    virtual ~StringMatcher();

    StringMatcher(const StringMatcher&) = delete;
    StringMatcher& operator=(const StringMatcher&) = delete;

    void setIsExtractioNode(bool isExtraction) { _isExtraction = isExtraction; }
    void setContextInfo(void* context) { _contextInfo = context; }
    void setContextInfoOwnershipMode(int mode) { _contextOwnershipMode = mode; }
    void setAction(AbstractStringMatchActionFunctor* action) { _action = action; }

    // True when the expression matches anywhere in line; the action is then called with
    // (context, null). An extraction matcher matches as doesMatchWithExtraction does.
    bool doesMatch(const char* line);
    // True when the expression matches and its first group took part. The group is handed to the
    // action together with the character that follows it (expressions are written so that this is
    // a blank, which readers trim); an empty group reaches no action but still counts as a match.
    bool doesMatchWithExtraction(const char* line);
    // As doesMatchWithExtraction, but the group (and its following character) is written into out
    // (at most outSize bytes) instead of reaching the action. False for a null or zero argument.
    bool matchWithExtraction(const char* line, char* out, unsigned long outSize);

    bool isValid() const { return _valid; }
    const char* getExpression() const { return _expression; }

  private:
    // The first group of a match of line (and the character after it) as a new malloc'ed string;
    // matched tells whether the expression matched with the group present.
    char* extract(const char* line, bool* matched);

    char* _expression;
    regex_t _compiled;
    bool _valid;
    bool _isExtraction;
    int _contextOwnershipMode;
    void* _contextInfo;
    AbstractStringMatchActionFunctor* _action;
};

#endif
