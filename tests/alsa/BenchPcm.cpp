// SPDX-License-Identifier: MIT

// The tests' own kind of PCM, `type bench` in ALSA's configuration: a device that plays by the
// clock into a file, frame for frame what it has played, and fails where its configuration says:
//
//   file PATH          what was played is appended
//   channels N         it takes so many and no others; without it 1 to 8
//   rate N             likewise; without it 8000 to 192000
//   formats "NAME …"   likewise; without it S16_LE, S24_3LE, S32_LE and FLOAT_LE
//   map "FL FR …"      where it has its channels; without it, it does not say
//   other_map "FL …"   where it can be told to have them
//   event NAME, at N   after so many frames played, once in a process: xrun, suspend,
//                      suspend_for_good (until it is prepared), unplug (until the next opening),
//                      stall, or hang (a call of it does not come back)
//   busy_from N        the N-th opening in the process (from 0), and all after it, are refused
//   hang yes           opening does not come back

#include <algorithm>
#include <alsa/asoundlib.h>
#include <alsa/pcm_external.h>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <sys/timerfd.h>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

struct Settings {
  std::string file;
  long channels = 0;
  long rate = 0;
  std::string formats = "S16_LE S24_3LE S32_LE FLOAT_LE";
  std::string map;
  std::string otherMap;
  std::string event;
  long at = 0;
  long busyFrom = -1;
  bool hangs = false;
};

std::atomic<long> g_openings{0};
std::atomic<bool> g_eventIsOver{false};

class Bench {
 public:
  explicit Bench(Settings settings) : m_settings(std::move(settings)) {
    io.version = SND_PCM_IOPLUG_VERSION;
    io.name = "Bench";
    io.flags = SND_PCM_IOPLUG_FLAG_BOUNDARY_WA;
    io.callback = &kCallbacks;
    io.private_data = this;
    io.poll_fd = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK);
    io.poll_events = POLLIN;
  }
  ~Bench() {
    g_eventIsOver = g_eventIsOver || eventIsDue("unplug");  // the next one is plugged in again
    ::close(io.poll_fd);
  }
  Bench(const Bench&) = delete;
  Bench& operator=(const Bench&) = delete;

  int limit();

  snd_pcm_ioplug_t io{};

 private:
  static const snd_pcm_ioplug_callback_t kCallbacks;
  static Bench& of(snd_pcm_ioplug_t* io) { return *static_cast<Bench*>(io->private_data); }

  int limitTo(int what, std::vector<unsigned> range) {
    return range.size() == 1
               ? snd_pcm_ioplug_set_param_list(&io, what, 1, range.data())
               : snd_pcm_ioplug_set_param_minmax(&io, what, range.front(), range.back());
  }
  std::size_t frameBytes() const {
    return io.channels * static_cast<std::size_t>(snd_pcm_format_physical_width(io.format)) / 8;
  }
  bool eventIsDue(const char* name) const {
    return m_settings.event == name && !g_eventIsOver && m_played >= m_settings.at;
  }
  snd_pcm_sframes_t advance();
  void play(snd_pcm_sframes_t until);
  int resume();
  int prepare();
  snd_pcm_sframes_t take(const snd_pcm_channel_area_t& area, snd_pcm_uframes_t offset,
                         snd_pcm_uframes_t frames);
  int setMap(const snd_pcm_chmap_t& wanted);

  const Settings m_settings;
  std::vector<char> m_queue;         // written, not played
  snd_pcm_sframes_t m_written = 0;   // since it was prepared
  snd_pcm_sframes_t m_position = 0;  // played of these
  long m_played = 0;                 // in all
  Clock::time_point m_origin{};      // when the frame at m_base was played
  snd_pcm_sframes_t m_base = 0;
  std::string m_map = m_settings.map;
};

/// To where a device is now whose clock is the machine's.
snd_pcm_sframes_t Bench::advance() {
  if (io.state != SND_PCM_STATE_RUNNING) {
    return m_position;
  }
  const std::chrono::duration<double> gone = Clock::now() - m_origin;
  const auto due = m_base + static_cast<snd_pcm_sframes_t>(gone.count() * io.rate);
  const bool atEvent = !m_settings.event.empty() && !g_eventIsOver &&
                       m_played + std::min(due, m_written) - m_position >= m_settings.at;
  const snd_pcm_sframes_t until =
      atEvent ? m_position + std::max(m_settings.at - m_played, 0L) : due;
  if (eventIsDue("stall")) {
    return m_position;
  }
  while (eventIsDue("hang")) {
    ::pause();
  }
  if (eventIsDue("xrun") || until > m_written) {
    g_eventIsOver = g_eventIsOver || eventIsDue("xrun");
    play(m_written);
    return -EPIPE;
  }
  play(until);
  if (eventIsDue("suspend") || eventIsDue("suspend_for_good")) {
    snd_pcm_ioplug_set_state(&io, SND_PCM_STATE_SUSPENDED);
  } else if (eventIsDue("unplug")) {
    snd_pcm_ioplug_set_state(&io, SND_PCM_STATE_DISCONNECTED);
  }
  return m_position;
}

void Bench::play(snd_pcm_sframes_t until) {
  const std::size_t bytes = static_cast<std::size_t>(until - m_position) * frameBytes();
  if (FILE* file = std::fopen(m_settings.file.c_str(), "ab")) {
    std::fwrite(m_queue.data(), 1, bytes, file);
    std::fclose(file);
  }
  m_queue.erase(m_queue.begin(), m_queue.begin() + static_cast<std::ptrdiff_t>(bytes));
  m_played += until - m_position;
  m_position = until;
}

/// The state shows whether it resumes: libasound drops the result.
int Bench::resume() {
  if (eventIsDue("suspend")) {
    g_eventIsOver = true;
    m_origin = Clock::now();
    m_base = m_position;
    snd_pcm_ioplug_set_state(&io, SND_PCM_STATE_RUNNING);
  }
  return 0;
}

/// Drops what is queued; a device that could not resume has played it.
int Bench::prepare() {
  if (eventIsDue("suspend_for_good")) {
    g_eventIsOver = true;
    play(m_written);
  }
  m_queue.clear();
  m_written = 0;
  m_position = 0;
  return 0;
}

snd_pcm_sframes_t Bench::take(const snd_pcm_channel_area_t& area, snd_pcm_uframes_t offset,
                              snd_pcm_uframes_t frames) {
  const char* const first =
      static_cast<const char*>(area.addr) + (area.first + area.step * offset) / 8;
  m_queue.insert(m_queue.end(), first, first + frames * frameBytes());
  m_written += static_cast<snd_pcm_sframes_t>(frames);
  return static_cast<snd_pcm_sframes_t>(frames);
}

using Map = std::unique_ptr<snd_pcm_chmap_t, decltype(&std::free)>;

Map mapOf(const std::string& text) {
  return {text.empty() ? nullptr : snd_pcm_chmap_parse_string(text.c_str()), std::free};
}

int Bench::setMap(const snd_pcm_chmap_t& wanted) {
  for (const std::string& each : {m_settings.map, m_settings.otherMap}) {
    const Map map = mapOf(each);
    if (map && map->channels == wanted.channels &&
        std::equal(map->pos, map->pos + map->channels, wanted.pos)) {
      m_map = each;
      return 0;
    }
  }
  return -EINVAL;
}

/// To be freed by snd_pcm_free_chmaps().
snd_pcm_chmap_query_t** mapsOf(const Settings& settings) {
  auto** const maps = static_cast<snd_pcm_chmap_query_t**>(std::calloc(3, sizeof(void*)));
  std::size_t count = 0;
  for (const std::string& each : {settings.map, settings.otherMap}) {
    if (const Map map = mapOf(each)) {
      const std::size_t bytes = sizeof(unsigned) * map->channels;
      maps[count] =
          static_cast<snd_pcm_chmap_query_t*>(std::malloc(sizeof(snd_pcm_chmap_query_t) + bytes));
      maps[count]->type = SND_CHMAP_TYPE_FIXED;
      maps[count]->map.channels = map->channels;
      std::memcpy(maps[count++]->map.pos, map->pos, bytes);
    }
  }
  return maps;
}

const snd_pcm_ioplug_callback_t Bench::kCallbacks = [] {
  snd_pcm_ioplug_callback_t calls{};
  calls.start = [](snd_pcm_ioplug_t* io) {
    of(io).m_origin = Clock::now();
    of(io).m_base = of(io).m_position;
    return 0;
  };
  calls.stop = [](snd_pcm_ioplug_t* io) {
    of(io).advance();
    return 0;
  };
  calls.pointer = [](snd_pcm_ioplug_t* io) { return of(io).advance(); };
  calls.transfer = [](snd_pcm_ioplug_t* io, const snd_pcm_channel_area_t* areas,
                      snd_pcm_uframes_t offset,
                      snd_pcm_uframes_t size) { return of(io).take(*areas, offset, size); };
  calls.prepare = [](snd_pcm_ioplug_t* io) { return of(io).prepare(); };
  calls.resume = [](snd_pcm_ioplug_t* io) { return of(io).resume(); };
  calls.close = [](snd_pcm_ioplug_t* io) {
    delete &of(io);
    return 0;
  };
  calls.query_chmaps = [](snd_pcm_ioplug_t* io) { return mapsOf(of(io).m_settings); };
  calls.get_chmap = [](snd_pcm_ioplug_t* io) { return mapOf(of(io).m_map).release(); };
  calls.set_chmap = [](snd_pcm_ioplug_t* io, const snd_pcm_chmap_t* map) {
    return of(io).setMap(*map);
  };
  return calls;
}();

int Bench::limit() {
  std::vector<unsigned> formats;
  std::istringstream names(m_settings.formats);
  for (std::string name; names >> name;) {
    formats.push_back(static_cast<unsigned>(snd_pcm_format_value(name.c_str())));
  }
  const auto only = [](long value, std::vector<unsigned> otherwise) {
    return value != 0 ? std::vector{static_cast<unsigned>(value)} : otherwise;
  };
  const unsigned access = SND_PCM_ACCESS_RW_INTERLEAVED;
  int error = snd_pcm_ioplug_set_param_list(&io, SND_PCM_IOPLUG_HW_ACCESS, 1, &access);
  for (const int each :
       {snd_pcm_ioplug_set_param_list(&io, SND_PCM_IOPLUG_HW_FORMAT,
                                      static_cast<unsigned>(formats.size()), formats.data()),
        limitTo(SND_PCM_IOPLUG_HW_CHANNELS, only(m_settings.channels, {1, 8})),
        limitTo(SND_PCM_IOPLUG_HW_RATE, only(m_settings.rate, {8000, 192000})),
        limitTo(SND_PCM_IOPLUG_HW_PERIOD_BYTES, {64, 1 << 20}),
        limitTo(SND_PCM_IOPLUG_HW_BUFFER_BYTES, {128, 1 << 22})}) {
    error = error < 0 ? error : each;
  }
  return error;
}

/// Returns false if `id` names no setting.
bool read(snd_config_t* node, const std::string& id, Settings& settings) {
  const std::map<std::string, std::string Settings::*> texts = {{"file", &Settings::file},
                                                                {"formats", &Settings::formats},
                                                                {"map", &Settings::map},
                                                                {"other_map", &Settings::otherMap},
                                                                {"event", &Settings::event}};
  const std::map<std::string, long Settings::*> numbers = {{"channels", &Settings::channels},
                                                           {"rate", &Settings::rate},
                                                           {"at", &Settings::at},
                                                           {"busy_from", &Settings::busyFrom}};
  if (const auto text = texts.find(id); text != texts.end()) {
    const char* value = "";
    snd_config_get_string(node, &value);
    settings.*text->second = value;
  } else if (const auto number = numbers.find(id); number != numbers.end()) {
    snd_config_get_integer(node, &(settings.*number->second));
  } else if (id == "hang") {
    settings.hangs = snd_config_get_bool(node) == 1;
  } else {
    return id == "comment" || id == "type" || id == "hint";
  }
  return true;
}

}  // namespace

extern "C" {

SND_PCM_PLUGIN_DEFINE_FUNC(bench) {
  (void)root;
  Settings settings;
  snd_config_iterator_t entry = nullptr;
  snd_config_iterator_t next = nullptr;
  snd_config_for_each(entry, next, conf) {
    snd_config_t* const node = snd_config_iterator_entry(entry);
    const char* id = nullptr;
    if (snd_config_get_id(node, &id) < 0 || !read(node, id, settings)) {
      SNDERR("Unknown field %s", id);
      return -EINVAL;
    }
  }
  if (settings.busyFrom >= 0 && g_openings++ >= settings.busyFrom) {
    SNDERR("the bench is taken");
    return -EBUSY;
  }
  while (settings.hangs) {
    ::pause();
  }
  auto bench = std::make_unique<Bench>(std::move(settings));
  int error = snd_pcm_ioplug_create(&bench->io, name, stream, mode);
  if (error == 0) {
    error = bench->limit();
    *pcmp = bench->io.pcm;
    Bench* const kept = bench.release();  // until it is closed
    if (error < 0) {
      snd_pcm_ioplug_delete(&kept->io);
    }
  }
  return error;
}

SND_PCM_PLUGIN_SYMBOL(bench);
}
