#include "RenderController.h"

#include <tinyxml.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "RenderControlInfo.h"
#include "RenderStrings.h"
#include "VeskLog.h"
#include "XmlFile.h"

namespace {

const char kMonitorStateName[] = "primary.monitor";

// The element of each event, by event value.
const char* const kEventElements[] = {"framerender", "error", "completion", "transition"};

}  // namespace

RenderController::RenderController(const char* controlFile)
    : _currentState(nullptr),
      _monitorState(nullptr),
      _valid(false),
      _errorAction(this, &RenderController::onError),
      _frameAction(this, &RenderController::onFrameRendering),
      _completionAction(this, &RenderController::onCompletion),
      _transitionAction(this, &RenderController::onTransition),
      _renderInfo(nullptr) {
    if (!parseXML(controlFile)) {
        vesk_logError("RenderController: Error parsing file.");
    } else {
        vesk_log("Render control file succesfully loaded.");
    }
}

RenderController::~RenderController() {
    deleteStates();
    delete _renderInfo;
}

void RenderController::deleteStates() {
    for (auto& entry : _states) {
        delete entry.second;
    }
    _states.clear();
    for (RenderControllerState* state : _replacedStates) {
        delete state;
    }
    _replacedStates.clear();
    delete _monitorState;
    _monitorState = nullptr;
    _currentState = nullptr;
}

void RenderController::onError(void* /*context*/, const char* /*param*/) {}
void RenderController::onFrameRendering(void* /*context*/, const char* /*param*/) {}
void RenderController::onCompletion(void* /*context*/, const char* /*param*/) {}
void RenderController::onTransition(void* /*context*/, const char* /*param*/) {}

bool RenderController::isValid() {
    return _valid;
}

bool RenderController::parseXML(const char* controlFile) {
    if (!controlFile) {
        return false;
    }
    vesk_log("Loading %s render control file ", controlFile);
    delete _renderInfo;
    _renderInfo = nullptr;

    TiXmlDocument document;
    if (render_readXmlFile(document, controlFile) != RenderXmlResult::kLoaded) {
        vesk_logError("Could not load render control file: %s", controlFile);
        return false;
    }
    TiXmlElement* renderer = document.FirstChildElement("renderer");
    if (!renderer) {
        vesk_logError("Render control file %s is invalid - renderer tag is missing.", controlFile);
        return false;
    }
    _renderInfo = RenderControlInfo::controlInfoFromElement(renderer, false);
    if (!_renderInfo) {
        return true;
    }
    _valid = true;

    // Frame, completion, error, transition: the order in which each state's handlers are read.
    const RenderStateEvent readOrder[] = {RENDER_EVENT_FRAMERENDER, RENDER_EVENT_COMPLETION,
                                          RENDER_EVENT_ERROR, RENDER_EVENT_TRANSITION};
    for (TiXmlElement* element = renderer->FirstChildElement("state"); element;
         element = element->NextSiblingElement("state")) {
        const char* name = element->Attribute("name");
        RenderControllerState* state = new RenderControllerState(nullptr, name);
        for (RenderStateEvent event : readOrder) {
            getStateHandlers(element, state, event);
        }
        auto existing = _states.find(state->getName());
        if (existing != _states.end()) {
            _replacedStates.push_back(existing->second);
            existing->second = state;
        } else {
            _states[state->getName()] = state;
        }
        const char* isDefault = element->Attribute("default");
        if (!_currentState || (isDefault && strcmp(isDefault, "1") == 0)) {
            _currentState = state;
        }
    }

    TiXmlElement* monitor = renderer->FirstChildElement("monitor");
    if (monitor) {
        delete _monitorState;
        _monitorState = new RenderControllerState(nullptr, kMonitorStateName);
        getStateHandlers(monitor, _monitorState, RENDER_EVENT_TRANSITION);
    }
    return true;
}

void RenderController::getStateHandlers(TiXmlElement* stateElement, RenderControllerState* state,
                                        RenderStateEvent event) {
    if (!stateElement || !state) {
        return;
    }
    AbstractStringMatchActionFunctor* action = nullptr;
    switch (event) {
        case RENDER_EVENT_FRAMERENDER:
            action = &_frameAction;
            break;
        case RENDER_EVENT_ERROR:
            action = &_errorAction;
            break;
        case RENDER_EVENT_COMPLETION:
            action = &_completionAction;
            break;
        case RENDER_EVENT_TRANSITION:
            action = &_transitionAction;
            break;
    }
    std::vector<StringMatcher*>* matchers = state->getMatcherVectorForEvent(event);
    if (!action || !matchers) {
        return;
    }
    TiXmlElement* eventElement = stateElement->FirstChildElement(kEventElements[event]);
    if (!eventElement) {
        return;
    }
    const char* context = eventElement->Attribute("to");
    if (!context) {
        context = eventElement->Attribute("mode");
    }
    char* contextCopy = context ? strdup(context) : nullptr;
    getStringMatcherForFeature(eventElement, "extraction", matchers, true, action, contextCopy);
    getStringMatcherForFeature(eventElement, "stringmatch", matchers, false, action, contextCopy);
    getStringMatcherForFeature(eventElement, "transition", matchers, false, action, contextCopy);
    free(contextCopy);
}

void RenderController::getStringMatcherForFeature(TiXmlElement* eventElement, const char* feature,
                                                  std::vector<StringMatcher*>* matchers,
                                                  bool isExtraction,
                                                  AbstractStringMatchActionFunctor* action,
                                                  const char* context) {
    if (!eventElement || !feature || !matchers) {
        return;
    }
    for (TiXmlElement* child = eventElement->FirstChildElement(feature); child;
         child = child->NextSiblingElement(feature)) {
        const char* text = child->GetText();
        if (!text) {
            continue;
        }
        StringMatcher* matcher = new StringMatcher(text, isExtraction);
        if (action) {
            if (context) {
                matcher->setContextInfo(strdup(context));
                matcher->setContextInfoOwnershipMode(StringMatcher::kContextOwnedCString);
            }
            matcher->setAction(action);
        }
        matchers->push_back(matcher);
    }
}

void RenderController::processInput(const char* line) {
    if (!line) {
        return;
    }
    if (_monitorState && _monitorState->processTextInput(line)) {
        return;
    }
    if (_currentState) {
        _currentState->processTextInput(line);
    }
}

bool RenderController::switchToState(const char* name) {
    if (!name) {
        return false;
    }
    auto found = _states.find(name);
    if (found == _states.end() || !found->second) {
        return false;
    }
    _currentState = found->second;
    return true;
}

const char* RenderController::getRendererName() {
    return _renderInfo ? _renderInfo->getName() : nullptr;
}

bool RenderController::handlesExtension(const char* extension) {
    return _renderInfo && extension && _renderInfo->handlesExtension(extension);
}
