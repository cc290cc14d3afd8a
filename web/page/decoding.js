// SPDX-License-Identifier: Apache-2.0
// Files to samples, by the browser's own decoder.

const kRateHz = 22050;       // the rate of the fingerprint; the decoder resamples to it
const kMaxFileBytes = 300e6; // all of it is decoded at once, into ten times as much memory

/** Mono samples of the file, and their rate. Throws an Error whose message says what to do. */
export async function decodeFile(file) {
  if (file.size > kMaxFileBytes) {
    throw new Error(`This file has ${Math.round(file.size / 1e6)} MB; give one of at most ${kMaxFileBytes / 1e6} MB.`);
  }
  let bytes;
  try {
    bytes = await file.arrayBuffer();
  } catch {
    throw new Error('This file cannot be read. Choose it again.');
  }
  try {
    const audio = await new OfflineAudioContext(1, 1, kRateHz).decodeAudioData(bytes);
    return {samples: mixed(audio), rateHz: audio.sampleRate};
  } catch {
    throw new Error('This browser finds no sound in this file. Choose a file of music, such as MP3, FLAC, Ogg or WAV.');
  }
}

/** The mean of the channels. */
function mixed(audio) {
  const samples = audio.getChannelData(0).slice();
  if (audio.numberOfChannels === 1) return samples;
  for (let channel = 1; channel < audio.numberOfChannels; ++channel) {
    const others = audio.getChannelData(channel);
    for (let i = 0; i < samples.length; ++i) samples[i] += others[i];
  }
  for (let i = 0; i < samples.length; ++i) samples[i] /= audio.numberOfChannels;
  return samples;
}
