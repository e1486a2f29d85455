// The key record side file "NAME.keys.xml" that rfa-process writes beside each result: the
// image's double and text keys as the plug-in gives them to the host window.
#pragma once

#include <map>
#include <string>

// Root "VELDRA-IMAGE-KEYS" holding a "double" and a "text" element, each with one "entry"
// (children "key" and "value") per key in key order. Doubles are written with 17 significant
// digits, so they read back exactly.
std::string ZrKeyRecordText(const std::map<std::string, double>& doubles,
                            const std::map<std::string, std::string>& texts);
// Adds the keys of a record text to the maps. name is only used in the error text:
// "<name>: not a key file (no \"VELDRA-IMAGE-KEYS\" element)".
void ZrKeyRecordParse(const std::string& text, const std::string& name,
                      std::map<std::string, double>& doubles,
                      std::map<std::string, std::string>& texts);

// The file, written in one step (ZrWriteFileAtomic) and read (ZrReadFileBytes).
void ZrKeyRecordWrite(const std::string& path, const std::map<std::string, double>& doubles,
                      const std::map<std::string, std::string>& texts);
void ZrKeyRecordRead(const std::string& path, std::map<std::string, double>& doubles,
                     std::map<std::string, std::string>& texts);
