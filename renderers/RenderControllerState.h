// RenderControllerState: one named state of a renderer's console-following state machine. It holds
// the matchers of each event; a console line fires at most one of them.
//
// Owns its matchers. The owning controller pointer is not owned (and left null by the file
// reader). One thread uses a state at a time.
#ifndef CORVIX_RENDERERS_RENDERCONTROLLERSTATE_H
#define CORVIX_RENDERERS_RENDERCONTROLLERSTATE_H

#include <string>
#include <vector>

class RenderController;
class StringMatcher;

// The events a console line can report, with the file element that carries each.
enum RenderStateEvent {
    RENDER_EVENT_FRAMERENDER = 0,  // "framerender": onFrameRendering
    RENDER_EVENT_ERROR = 1,        // "error": onError
    RENDER_EVENT_COMPLETION = 2,   // "completion": onCompletion
    RENDER_EVENT_TRANSITION = 3,   // "transition": onTransition
};

class RenderControllerState {
  public:
    RenderControllerState(RenderController* controller, const char* name);
    virtual ~RenderControllerState();

    RenderControllerState(const RenderControllerState&) = delete;
    RenderControllerState& operator=(const RenderControllerState&) = delete;

    // Tries the matchers of the events in value order (frame, error, completion, transition), each
    // list in order; the first that matches ends the search with true. Null gives false.
    bool processTextInput(const char* line);
    // Exit codes are not followed: always false.
    bool processExitCode(int code);

    const std::string& getName() const { return _name; }
    // The controller the state belongs to; null for states the file reader made.
    RenderController* getController() const { return _controller; }
    // The state's matchers for event; null for a value beyond the four events.
    std::vector<StringMatcher*>* getMatcherVectorForEvent(RenderStateEvent event);

  private:
    static const int kEventCount = 4;

    std::string _name;
    RenderController* _controller;
    std::vector<StringMatcher*> _matchers[kEventCount];
};

#endif
