// Writes the bundle's Turtle files (manifest.ttl and one file per plugin)
// from the control table the plugin itself uses.
//   generate_turtle BUNDLE_DIR BINARY_NAME
#include <cstdio>
#include <fstream>
#include <string>

#include "Controls.h"

namespace {

const char kPrefixes[] =
    "@prefix doap:   <http://usefulinc.com/ns/doap#> .\n"
    "@prefix lv2:    <http://lv2plug.in/ns/lv2core#> .\n"
    "@prefix rdf:    <http://www.w3.org/1999/02/22-rdf-syntax-ns#> .\n"
    "@prefix rdfs:   <http://www.w3.org/2000/01/rdf-schema#> .\n"
    "@prefix work:   <http://lv2plug.in/ns/ext/worker#> .\n\n";

struct Plugin {
  const char *uri, *file, *name;
  int channels;
  const char* const* channelNames;
};

const char* const kStereoNames[] = {"L", "R"};
const char* const kSurroundNames[] = {"L", "R", "C", "LFE", "Ls", "Rs"};
const Plugin kPlugins[] = {
    {"urn:hvtralofx:lv2:stereo", "stereo.ttl", "hvtralofx stereo", 2, kStereoNames},
    {"urn:hvtralofx:lv2:surround51", "surround51.ttl", "hvtralofx 5.1", 6, kSurroundNames},
};

std::string Number(float v) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", double(v));
  return text;
}

void WritePlugin(std::ofstream& out, const Plugin& p) {
  out << kPrefixes << "<" << p.uri << ">\n  a lv2:Plugin, lv2:EQPlugin ;\n"
      << "  doap:name \"" << p.name << "\" ;\n"
      << "  lv2:optionalFeature work:schedule ;\n  lv2:extensionData work:interface ;\n  lv2:port ";
  int index = 0;
  const auto begin = [&](const char* kinds) {
    out << (index ? " , " : "") << "[\n    a " << kinds << " ;\n    lv2:index " << index << " ;\n";
    ++index;
  };
  for (const char* dir : {"Input", "Output"})
    for (int c = 0; c < p.channels; ++c) {
      begin((std::string("lv2:AudioPort, lv2:") + dir + "Port").c_str());
      const std::string sym = std::string(dir[0] == 'I' ? "in_" : "out_") + p.channelNames[c];
      out << "    lv2:symbol \"" << sym << "\" ;\n    lv2:name \"" << dir << " " << p.channelNames[c] << "\"\n  ]";
    }
  begin("lv2:ControlPort, lv2:OutputPort");
  out << "    lv2:symbol \"latency\" ;\n    lv2:name \"Latency\" ;\n    lv2:designation lv2:latency ;\n"
      << "    lv2:portProperty lv2:reportsLatency, lv2:integer ;\n    lv2:minimum 0 ;\n    lv2:maximum 16384\n  ]";
  begin("lv2:ControlPort, lv2:InputPort");
  out << "    lv2:symbol \"enabled\" ;\n    lv2:name \"Enabled\" ;\n    lv2:designation lv2:enabled ;\n"
      << "    lv2:portProperty lv2:toggled ;\n    lv2:default 1 ;\n    lv2:minimum 0 ;\n    lv2:maximum 1\n  ]";
  for (const hvlv2::Control& c : hvlv2::Controls(p.channels)) {
    begin("lv2:ControlPort, lv2:InputPort");
    out << "    lv2:symbol \"" << c.symbol << "\" ;\n    lv2:name \"" << c.name << "\" ;\n"
        << "    lv2:default " << Number(c.def) << " ;\n    lv2:minimum " << Number(c.min) << " ;\n"
        << "    lv2:maximum " << Number(c.max);
    if (c.kind == hvlv2::Kind::Toggle) out << " ;\n    lv2:portProperty lv2:toggled";
    if (c.kind == hvlv2::Kind::Int) out << " ;\n    lv2:portProperty lv2:integer";
    if (c.kind == hvlv2::Kind::Enum) {
      out << " ;\n    lv2:portProperty lv2:integer, lv2:enumeration ;\n    lv2:scalePoint ";
      for (size_t k = 0; k < c.labels.size(); ++k)
        out << (k ? ", " : "") << "[ rdfs:label \"" << c.labels[k].second << "\" ; rdf:value " << c.labels[k].first
            << " ]";
    }
    out << "\n  ]";
  }
  out << " .\n";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s BUNDLE_DIR BINARY_NAME\n", argv[0]);
    return 2;
  }
  const std::string dir = argv[1];
  std::ofstream manifest(dir + "/manifest.ttl");
  manifest << kPrefixes;
  for (const Plugin& p : kPlugins) {
    manifest << "<" << p.uri << ">\n  a lv2:Plugin ;\n  lv2:binary <" << argv[2] << "> ;\n  rdfs:seeAlso <" << p.file
             << "> .\n\n";
    std::ofstream out(dir + "/" + p.file);
    WritePlugin(out, p);
    if (!out) return 1;
  }
  return manifest ? 0 : 1;
}
