// Loading the renderers' XML files (render control files, the overrides file, bundle property
// lists) from disk without trusting what sits at the path.
//
// TinyXML blocks on a FIFO, takes a folder's size for the file's, reads a file of any size into
// memory and recurses once per element level, so a deeply nested file exhausts the stack. Before
// TinyXML sees anything, a file is therefore read whole only when it is a regular file of at most
// kRenderXmlSizeLimit bytes, and parsed only when no element lies deeper than
// kRenderXmlDepthLimit levels. A file that is not well-formed UTF-8 is parsed byte for byte
// (TinyXML's legacy encoding): read as UTF-8, a stray byte swallows the markup after it.
// Everything else is TinyXML's default reading, line-end normalisation included.
//
// Any thread, on distinct documents. Nothing throws.
#ifndef CORVIX_RENDERERS_XMLFILE_H
#define CORVIX_RENDERERS_XMLFILE_H

#include <cstddef>
#include <string>

class TiXmlDocument;

// A render control file is a few kilobytes, a property list rarely more than a hundred, and the
// overrides file grows by one line per renderer.
const size_t kRenderXmlSizeLimit = 8 * 1024 * 1024;
// The files' own nesting is under ten levels.
const int kRenderXmlDepthLimit = 64;

enum class RenderXmlResult {
    kLoaded,     // parsed into the document
    kAbsent,     // nothing could be opened at the path (missing, no permission): no message
    kRefused,    // not a regular file, too large or nested too deep: reported, naming the file
    kMalformed,  // read, but does not parse (document.ErrorDesc() says why): no message
};

// Parses the file at path into document. A refusal goes to the diagnostics sink through
// render_reportSkipped.
RenderXmlResult render_readXmlFile(TiXmlDocument& document, const char* path);

// The renderers' message for a file they will not read: "\nSkipped <path>: it <reason>." (the
// path made printable), e.g. reason "is a FIFO, not a regular file".
void render_reportSkipped(const char* path, const std::string& reason);

// True when no element of text lies deeper than limit levels, counted as TinyXML will nest them
// (comments, CDATA sections, declarations and quoted attribute values hold no elements). Never
// counts fewer levels than TinyXML would build.
bool render_xmlDepthWithin(const std::string& text, int limit);

#endif
