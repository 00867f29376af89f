#include "AttrReadTable.h"

#include "imaSignals.h"

#include <tinyxml.h>

namespace hostima {

namespace {

const char* const kDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n";

std::string escape(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            case '\'':
                out += "&apos;";
                break;
            default:
                out += c;
                break;
        }
    }
    return out;
}

std::string document(const std::string& body) {
    return kDeclaration + std::string("<ima version=\"") + ima::kDocumentVersion + "\">\n" + body +
           "</ima>";
}

std::string error(const std::string& text) {
    return "<error text=\"" + escape(text) + "\"/>\n";
}

}  // namespace

AttrReadTable::AttrReadTable(const std::vector<MoAttribute>& attributes) {
    for (const MoAttribute& attribute : attributes) {
        auto& object = m_objects[attribute.ldn];
        bool known = false;
        for (const auto& entry : object) {
            known = known || entry.first == attribute.name;
        }
        if (!known) {
            object.emplace_back(attribute.name, attribute.value);
        }
    }
}

std::string AttrReadTable::malformed() {
    return document(error("Malformed request"));
}

std::string AttrReadTable::answer(const std::string& request) const {
    TiXmlDocument parsed;
    parsed.Parse(request.c_str());
    const TiXmlElement* root = parsed.Error() ? nullptr : parsed.RootElement();
    if (root == nullptr || std::string(root->Value()) != "ima") {
        return malformed();
    }
    const char* version = root->Attribute("version");
    if (version == nullptr || std::string(version) != ima::kDocumentVersion) {
        return document(error("Unsupported version"));
    }
    std::string body;
    for (const TiXmlElement* element = root->FirstChildElement(); element != nullptr;
         element = element->NextSiblingElement()) {
        const char* ldn = element->Attribute("ldn");
        if (std::string(element->Value()) != "request" || ldn == nullptr) {
            body += error("Malformed request element");
            continue;
        }
        auto object = m_objects.find(ldn);
        if (object == m_objects.end()) {
            body += "<error ldn=\"" + escape(ldn) + "\" text=\"No such managed object\"/>\n";
            continue;
        }
        body += "<class ldn=\"" + escape(ldn) + "\">\n";
        for (const auto& attribute : object->second) {
            body += "<attr name=\"" + escape(attribute.first) + "\" type=\"STRING\" value=\"" +
                    escape(attribute.second) + "\"/>\n";
        }
        body += "</class>\n";
    }
    std::string answer = document(body);
    if (answer.size() > ima::kLongestText) {
        return document(error("Reply too long"));
    }
    return answer;
}

}  // namespace hostima
