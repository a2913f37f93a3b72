// What is measured inside the page, from before its first script on. Runs there alone: it is handed over as text.

export function watchPage() {
  const clock = { longestTask: 0, sources: {}, presses: [], frames: 0 };
  window.clock = clock;
  new PerformanceObserver((list) => {
    for (const task of list.getEntries()) clock.longestTask = Math.max(clock.longestTask, task.duration);
  }).observe({ type: "longtask" });
  clock.forgetTasks = () => (clock.longestTask = 0);

  // All destinations that are in the page are confirmed, sources are there, and a frame with them was drawn.
  function isShown() {
    if (document.documentElement.dataset.connection !== "live") return false;
    const destinations = document.querySelectorAll("[data-output]");
    return destinations.length > 0 && document.querySelector("[data-input]") !== null &&
      [...destinations].every((each) => each.dataset.state === "confirmed");
  }
  clock.shown = new Promise((done) => {
    const look = () => {
      clock.frames++;
      if (clock.isDone || !isShown()) return requestAnimationFrame(look);
      clock.isDone = true;
      requestAnimationFrame(() => setTimeout(() => done(performance.now()), 0));
      requestAnimationFrame(look);
    };
    requestAnimationFrame(look);
  });

  clock.watchSource = (tile) => {
    new MutationObserver(() => (clock.sources[tile.dataset.source] ??= performance.timeOrigin + performance.now()))
      .observe(tile, { attributes: true, attributeFilter: ["data-source"] });
  };

  clock.watchPresses = () => {
    let pressed = null;
    addEventListener("click", (event) => (pressed = { time: event.timeStamp, frames: clock.frames }), true);
    new MutationObserver((changes) => {
      const isMarked = changes.some((each) => each.target.dataset.mark === "pending" || each.target.dataset.mark === "shown");
      if (!pressed || !isMarked) return;
      clock.presses.push({ milliseconds: performance.now() - pressed.time, frames: clock.frames - pressed.frames });
      pressed = null;
    }).observe(document.querySelector("vrdx-sources"), { subtree: true, attributes: true, attributeFilter: ["data-mark"] });
  };
}
