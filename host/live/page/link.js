// The connection to the monitor: messages in, requests out. It is made again whenever it is lost.

const kRetryMs = 1000, kPingMs = 2000, kSilentMs = 6000;
const kMostFrames = 65536;  // that the monitor gives at once

export class Link {
  /** handlers: object(message), signal(head, samples), opened(), closed(). */
  constructor(handlers) {
    this.handlers = handlers;
    this.requests = 0;
    this.waiting = new Map();  // by number, what is done with the signal that was asked for
    this.clockOffsetMs = 0;    // of the monitor's clock against that of this machine
    this.leastOffsetMs = -Infinity;
    this.mostOffsetMs = Infinity;
    this.connect();
    setInterval(() => this.ping(), kPingMs);
  }

  connect() {
    const scheme = location.protocol === "https:" ? "wss:" : "ws:";
    this.socket = new WebSocket(`${scheme}//${location.host}/live`);
    this.socket.binaryType = "arraybuffer";
    this.heardMs = performance.now();
    this.socket.onopen = () => { this.handlers.opened(); this.ping(); };
    this.socket.onclose = () => {
      this.waiting.clear();
      this.handlers.closed();
      setTimeout(() => this.connect(), kRetryMs);
    };
    this.socket.onmessage = (event) => {
      this.heardMs = performance.now();
      if (typeof event.data === "string") this.take(JSON.parse(event.data));
      else this.takeSignal(event.data);
    };
  }

  take(message) {
    if (message.type !== "pong") return this.handlers.object(message);
    // The monitor looked at its clock between the question and its answer. Clocks are taken to agree where
    // no answer tells otherwise.
    this.leastOffsetMs = Math.max(this.leastOffsetMs, message.wall_ms - Date.now());
    this.mostOffsetMs = Math.min(this.mostOffsetMs, message.wall_ms - message.ping);
    this.clockOffsetMs = Math.min(Math.max(0, this.leastOffsetMs), this.mostOffsetMs);
  }

  takeSignal(buffer) {
    const view = new DataView(buffer);
    const head = {
      kind: view.getUint16(0, true), leads: view.getUint16(2, true), request: view.getUint32(4, true),
      firstFrame: view.getFloat64(8, true), wallMs: view.getFloat64(16, true) - this.clockOffsetMs,
      per: view.getUint32(24, true), values: view.getUint32(28, true),
    };
    const samples = new Int16Array(buffer, 32);
    if (head.kind === 1) return this.handlers.signal(head, samples);
    const resolve = this.waiting.get(head.request);
    this.waiting.delete(head.request);
    if (resolve) resolve({ head, samples });
  }

  ping() {
    if (performance.now() - this.heardMs > kSilentMs) this.socket.close();
    this.send({ ping: Date.now() });
  }

  /** False where there is no connection: nothing is sent then. */
  send(object) {
    const isOpen = this.socket.readyState === WebSocket.OPEN;
    if (isOpen) this.socket.send(JSON.stringify(object));
    return isOpen;
  }

  /** The kept signal from one frame to before another, once it has come; never where the connection is lost meanwhile. */
  askSignal(from, to) { return this.ask({ from: Math.max(0, from, to - kMostFrames), to }); }

  /** The lowest and the highest samples of a stretch of any length, in about so many columns. */
  askOverview(from, to, columns) { return this.ask({ from: Math.max(0, from), to, columns }); }

  ask({ from, to, columns }) {
    const number = ++this.requests;
    return new Promise((resolve) => {
      this.waiting.set(number, resolve);
      this.send({ signal: number, from, frames: Math.max(1, to - from), columns });
    });
  }
}
