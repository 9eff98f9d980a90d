#pragma once

#include <string>
#include <string_view>

/// What is wrong with an XML document, empty when it is well-formed: tags close in order, attributes are
/// quoted and not repeated in a way that matters, and every "&" starts one of the five named entities. As
/// much of XML as the program writes: no processing instructions, comments or CDATA.
std::string XmlFault(std::string_view text);
