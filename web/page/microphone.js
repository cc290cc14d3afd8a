// SPDX-License-Identifier: Apache-2.0
// The microphone as pieces of mono samples.

/** Why this page cannot listen; null where it can ask for the microphone. */
export function whyNoMicrophone() {
  if (!window.isSecureContext) {
    return 'Browsers give the microphone to secure pages only: open this page by https, or at localhost on the ' +
      'machine of the server.';
  }
  if (navigator.mediaDevices?.getUserMedia === undefined || window.AudioWorkletNode === undefined) {
    return 'This browser gives pages no microphone. Choose a file instead, or use another browser.';
  }
  return null;
}

const kFaults = {
  NotAllowedError:
    'The microphone was refused. Allow it for this page in the settings of the browser, then listen again.',
  NotFoundError: 'There is no microphone. Connect one, then listen again.',
  NotReadableError: 'The microphone is in use or broken. Close other programs that listen, then listen again.',
};

export class Microphone {
  #stream;
  #context;

  /**
   * Opens the microphone, of which onPiece gets the samples; onEnd is called when it is taken away. Throws an Error
   * whose message says what to do.
   */
  static async open(onPiece, onEnd) {
    const microphone = new Microphone();
    try {
      await microphone.#open(onPiece, onEnd);
      return microphone;
    } catch (error) {
      microphone.close();
      throw new Error(kFaults[error.name] ?? `The microphone cannot be used (${error.name}). Choose a file instead.`);
    }
  }

  get rateHz() { return this.#context.sampleRate; }

  close() {
    this.#stream?.getTracks().forEach((track) => track.stop());
    this.#context?.close();
  }

  async #open(onPiece, onEnd) {
    // What calls need harms music.
    const audio = {echoCancellation: false, noiseSuppression: false, autoGainControl: false};
    this.#stream = await navigator.mediaDevices.getUserMedia({audio});
    this.#stream.getAudioTracks()[0].addEventListener('ended', onEnd);
    this.#context = new AudioContext();
    await this.#context.audioWorklet.addModule(new URL('capture.js', import.meta.url));
    const capture = new AudioWorkletNode(
      this.#context, 'capture', {numberOfOutputs: 0, channelCount: 1, channelCountMode: 'explicit'});
    capture.port.addEventListener('message', ({data}) => onPiece(data));
    capture.port.start();
    this.#context.createMediaStreamSource(this.#stream).connect(capture);
    await this.#context.resume();
  }
}
