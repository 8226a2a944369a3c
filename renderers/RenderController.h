// RenderController: follows an external renderer's console output through the states that its
// render control file describes, and reports frames, errors, completion and state changes to its
// four event methods. Also reads a parameter block back into one command line.
//
// The four event methods do nothing here: the product's render runs subclass the controller and
// override them. The controller owns its states, its monitor state, its action functors and its
// renderer description. Diagnostics go to the product log. Main thread only (one render run).
#ifndef CORVIX_RENDERERS_RENDERCONTROLLER_H
#define CORVIX_RENDERERS_RENDERCONTROLLER_H

#include <map>
#include <string>
#include <vector>

#include "RenderControllerState.h"
#include "StringMatcher.h"

class RenderControlInfo;
class TiXmlElement;

class RenderController {
  public:
    // Reads controlFile (parseXML); logs whether that worked.
    explicit RenderController(const char* controlFile);
    virtual ~RenderController();

    RenderController(const RenderController&) = delete;
    RenderController& operator=(const RenderController&) = delete;

    virtual void onError(void* context, const char* param);
    virtual void onFrameRendering(void* context, const char* param);
    virtual void onCompletion(void* context, const char* param);
    virtual void onTransition(void* context, const char* param);
    // True once the file's renderer description has been read.
    virtual bool isValid();

    // Reads the renderer description, the states and the monitor of controlFile. False (logged as
    // an error) when the file cannot be loaded or has no "renderer"; true otherwise, also when
    // the renderer description yields nothing (the controller then stays invalid and has no
    // states). The last state marked default="1" is the starting state, else the first.
    bool parseXML(const char* controlFile);

    // Adds the matchers of one event element of stateElement to state.
    void getStateHandlers(TiXmlElement* stateElement, RenderControllerState* state,
                          RenderStateEvent event);
    // Appends a matcher for every child named feature of eventElement that has text; with an
    // action, each matcher gets the action and its own copy of context (when there is one).
    void getStringMatcherForFeature(TiXmlElement* eventElement, const char* feature,
                                    std::vector<StringMatcher*>* matchers, bool isExtraction,
                                    AbstractStringMatchActionFunctor* action, const char* context);

    // Feeds one console line: to the monitor state first, and only when that does not match, to
    // the current state. Null does nothing.
    void processInput(const char* line);
    // Makes the state called name current; false (state unchanged) for an unknown or null name.
    bool switchToState(const char* name);

    // The renderer description's name and extensions; null / false without one.
    const char* getRendererName();
    bool handlesExtension(const char* extension);

    // Joins parameter lines "ext?<name> <value> ($END) <position>" into one command line in out
    // (at most outSize bytes): leader, the arguments by ascending position ("-name value"; a value
    // starting with "$" is a placeholder and is not written), the arguments for positions already
    // taken in arrival order, then the trailer. Lines that do not match are logged and skipped.
    // False only when the line expression cannot be compiled.
    static bool deserializeParameterVector(std::vector<std::string>* lines, char* out,
                                           unsigned long outSize);

    // For the product and for tests: the state lines currently go to, and the monitor.
    RenderControllerState* getCurrentState() { return _currentState; }
    RenderControllerState* getMonitorState() { return _monitorState; }

  private:
    void deleteStates();

    RenderControllerState* _currentState;
    RenderControllerState* _monitorState;
    bool _valid;
    std::map<std::string, RenderControllerState*> _states;
    // States replaced by a later state of the same name. Kept alive until the controller goes, as
    // the current state may still be one of them.
    std::vector<RenderControllerState*> _replacedStates;
    StringMatchActionFunctor<RenderController> _errorAction;
    StringMatchActionFunctor<RenderController> _frameAction;
    StringMatchActionFunctor<RenderController> _completionAction;
    StringMatchActionFunctor<RenderController> _transitionAction;
    RenderControlInfo* _renderInfo;
};

#endif
