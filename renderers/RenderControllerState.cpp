#include "RenderControllerState.h"

#include "StringMatcher.h"

RenderControllerState::RenderControllerState(RenderController* controller, const char* name)
    : _name(name ? name : ""), _controller(controller) {}

RenderControllerState::~RenderControllerState() {
    for (std::vector<StringMatcher*>& list : _matchers) {
        for (StringMatcher* matcher : list) {
            delete matcher;
        }
    }
}

bool RenderControllerState::processTextInput(const char* line) {
    if (!line) {
        return false;
    }
    for (std::vector<StringMatcher*>& list : _matchers) {
        for (StringMatcher* matcher : list) {
            if (matcher->doesMatch(line)) {
                return true;
            }
        }
    }
    return false;
}

bool RenderControllerState::processExitCode(int /*code*/) {
    return false;
}

std::vector<StringMatcher*>* RenderControllerState::getMatcherVectorForEvent(
    RenderStateEvent event) {
    int index = static_cast<int>(event);
    if (index < 0 || index >= kEventCount) {
        return nullptr;
    }
    return &_matchers[index];
}
