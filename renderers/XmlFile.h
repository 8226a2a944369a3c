// Loading the renderers' XML files (render control files, the overrides file, bundle property
// lists) from disk without trusting what sits at the path.
#ifndef CORVIX_RENDERERS_XMLFILE_H
#define CORVIX_RENDERERS_XMLFILE_H

class TiXmlDocument;

// Parses the file at path into document (default encoding). Only a regular file is read: a
// folder, a FIFO or a device counts as unreadable, as the parser would otherwise block on it or
// take a folder's size for the file's. False when the file cannot be opened, is not a regular
// file, or does not parse. Any thread, on distinct documents.
bool render_loadXmlFile(TiXmlDocument& document, const char* path);

#endif
