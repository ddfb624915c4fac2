// Offers newer data when the file of the page was rewritten. No server can be asked, and a page may not read its own file,
// but it may open it in a frame: there, the same page only tells its parent when it was made.

const NEWER_EVERY = 30 * SECOND, NEWER_QUERY = "?made";

// True if this is the page in the frame. The document begins with the time, so a large one need not be decoded.
function toldWhenMade(text) {
  if (location.search !== NEWER_QUERY || parent === window) return false;
  parent.postMessage({ made: Number(text.match(/^\{"now":(\d+)/)[1]) }, "*");
  return true;
}

function lookForNewer(data) {
  const reload = () => location.reload();
  document.getElementById("reload").addEventListener("click", reload);
  let frame = null;
  const look = () => {
    if (frame) frame.remove();
    frame = element("iframe");
    frame.hidden = true;
    frame.title = "looks for newer data";
    frame.src = location.href.replace(/[?#].*/, "") + NEWER_QUERY;
    document.body.append(frame);
  };
  const timer = setInterval(look, NEWER_EVERY);
  window.addEventListener("message", (event) => {
    if (!frame || event.source !== frame.contentWindow || !(event.data.made > data.now)) return;
    clearInterval(timer);
    frame.remove();
    document.getElementById("newer").hidden = false;
    window.addEventListener("keydown", (key) => {
      if (key.key === "r" && !key.ctrlKey && !key.metaKey && !key.altKey && key.target.tagName !== "INPUT") reload();
    });
  });
}
