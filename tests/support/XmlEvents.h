#pragma once

#include <string>
#include <string_view>

#include "xml/ForgivingReading.h"

/// Notes what it is told in one line: elements in parentheses behind their names, attributes in brackets, texts as they
/// are, and a `|` where the document breaks off.
class XmlEvents final : public quillmoria::RestartableXmlHandler {
 public:
  std::string text;

  void startElement(const char* name, quillmoria::XmlAttributes attributes) override {
    text += name;
    for (; *attributes; attributes += 2) ((((text += '[') += attributes[0]) += '=') += attributes[1]) += ']';
    text += '(';
  }
  void endElement(const char*) override { text += ')'; }
  void characters(std::string_view chunk) override { text += chunk; }
  void restart() override { text.clear(); }
  void cutOff() override { text += '|'; }
};
