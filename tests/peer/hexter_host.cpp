// Hosts the DX7 soft synthesizer of the machine (a DSSI plug-in) on a JACK MIDI port: takes one 32-voice bulk dump,
// hands it to the plug-in and prints the 32 names the plug-in then has.
//
//   hexter_host PLUGIN.so CLIENTNAME      prints "ready", then "accepted" and 32 lines, or "refused REASON"

#include <dlfcn.h>
#include <dssi.h>
#include <jack/jack.h>
#include <jack/midiport.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

struct Incoming {
  jack_port_t* port = nullptr;
  std::mutex mutex;
  std::vector<std::uint8_t> bytes;
};

int TakeEvents(jack_nframes_t frames, void* self) {
  auto* incoming = static_cast<Incoming*>(self);
  void* buffer = jack_port_get_buffer(incoming->port, frames);
  std::lock_guard guard(incoming->mutex);
  for (std::uint32_t i = 0; i < jack_midi_get_event_count(buffer); ++i) {
    jack_midi_event_t event;
    if (jack_midi_event_get(&event, buffer, i) != 0) continue;
    for (std::size_t k = 0; k < event.size; ++k) {
      if (event.buffer[k] < 0xF8) incoming->bytes.push_back(event.buffer[k]);
    }
  }
  return 0;
}

// The plug-in's text form of 7-bit data: byte count, the bits most significant first in letters of six, byte sum.
std::string SevenInSix(const std::vector<std::uint8_t>& data) {
  static const char letters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text = std::to_string(data.size()) + " ";
  unsigned bits = 0;
  unsigned held = 0;
  unsigned long sum = 0;
  for (const auto byte : data) {
    sum += byte;
    held = (held << 7) | (byte & 0x7FU);
    bits += 7;
    while (bits >= 6) {
      bits -= 6;
      text += letters[(held >> bits) & 63U];
    }
    held &= (1U << bits) - 1U;
  }
  if (bits) text += letters[(held << (6 - bits)) & 63U];
  return text + " " + std::to_string(sum);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  void* library = dlopen(argv[1], RTLD_NOW);
  if (!library) {
    std::printf("refused %s\n", dlerror());
    return 1;
  }
  const auto find = reinterpret_cast<DSSI_Descriptor_Function>(dlsym(library, "dssi_descriptor"));
  const DSSI_Descriptor* synth = find ? find(0) : nullptr;
  jack_client_t* client = jack_client_open(argv[2], JackNoStartServer, nullptr);
  if (!synth || !client) {
    std::printf("refused no plug-in or no server\n");
    return 1;
  }
  LADSPA_Handle instance = synth->LADSPA_Plugin->instantiate(synth->LADSPA_Plugin, 48000);
  Incoming incoming;
  incoming.port = jack_port_register(client, "in", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0);
  jack_set_process_callback(client, TakeEvents, &incoming);
  jack_activate(client);
  std::printf("ready\n");
  std::fflush(stdout);
  std::vector<std::uint8_t> dump;
  for (int i = 0; i < 600; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    std::lock_guard guard(incoming.mutex);
    if (!incoming.bytes.empty() && incoming.bytes.back() == 0xF7) {
      dump = incoming.bytes;
      break;
    }
  }
  // The sender counts the dump as sent a little after its last byte; a cable pulled at once would be its failure.
  std::this_thread::sleep_for(std::chrono::seconds(2));
  jack_client_close(client);
  const bool bulk =
      dump.size() == 4104 && dump[0] == 0xF0 && dump[1] == 0x43 && dump[3] == 9 && dump[4] == 0x20 && dump[5] == 0;
  unsigned sum = 0;
  for (std::size_t i = 6; bulk && i < 6 + 4096; ++i) sum += dump[i];
  if (!bulk || ((sum + dump[4102]) & 0x7FU) != 0) {
    std::printf("refused a dump of %zu bytes\n", dump.size());
    return 1;
  }
  const std::vector<std::uint8_t> voices(dump.begin() + 6, dump.begin() + 6 + 4096);
  if (char* complaint = synth->configure(instance, "patches0", SevenInSix(voices).c_str())) {
    std::printf("refused %s\n", complaint);
    return 1;
  }
  std::printf("accepted\n");
  for (unsigned long i = 0; i < 32; ++i) {
    const DSSI_Program_Descriptor* program = synth->get_program(instance, i);
    std::printf("%lu\t%s\n", i, program ? program->Name : "");
  }
  std::fflush(stdout);
  std::_Exit(0);
}
