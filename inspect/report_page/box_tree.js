"use strict";

// The boxes of the file as a tree that folds. What is folded has no elements yet, so that a file of
// many thousand boxes opens at once.
const boxTree = {
  // report.boxes lists the boxes in file order, each with its depth. Returns the top ones, each with
  // its children.
  nest(boxes) {
    const top = [];
    const open = [];
    for (const box of boxes) {
      const node = {box, children: []};
      open.length = Math.min(open.length, box.depth);
      (open.length === 0 ? top : open[open.length - 1].children).push(node);
      open.push(node);
    }
    return top;
  },

  label(box) {
    return [
      dom.make("span", {class: "type"}, box.type),
      dom.make("span", {class: "where"}, `at ${format.count(box.offset)}, ${format.counted(box.size, "byte")}`),
      // That the plug-in passes a box over is no fault of the file.
      ...box.marks.map((mark) => dom.make("span",
        {class: mark.startsWith("ignored") ? "mark note" : "mark warning"}, mark)),
    ];
  },

  // What the box's fields say, or nothing.
  fields(box) {
    if (box.fields.length === 0) return null;
    return dom.make("div", {class: "fields"},
      box.fields.join(" · "));
  },

  item(node) {
    if (node.children.length === 0) {
      return dom.make("li", {}, dom.make("div", {class: "leaf"}, ...boxTree.label(node.box)),
        boxTree.fields(node.box));
    }
    const details = dom.make("details", {}, dom.make("summary", {}, ...boxTree.label(node.box)),
      boxTree.fields(node.box));
    // Filled when it is opened first.
    details.fill = () => {
      details.fill = () => {};
      details.append(boxTree.list(node.children));
    };
    details.addEventListener("toggle", () => details.fill());
    return dom.make("li", {}, details);
  },

  list(nodes) {
    return dom.make("ul", {}, ...nodes.map(boxTree.item));
  },

  setAll(tree, open) {
    // Filling an element adds further ones, which the query has not seen: the walk goes level by level.
    let level = [...tree.querySelectorAll("details")];
    while (level.length > 0) {
      for (const details of level) {
        if (open) details.fill();
        details.open = open;
      }
      level = open ? [...tree.querySelectorAll("details:not([open])")] : [];
    }
  },

  section(report) {
    if (report.boxes.length === 0) return [dom.make("p", {class: "none"}, "No box begins in this file.")];
    const tree = dom.make("div", {class: "tree"}, boxTree.list(boxTree.nest(report.boxes)));
    const button = (words, open) => {
      const made = dom.make("button", {type: "button"}, words);
      made.addEventListener("click", () => boxTree.setAll(tree, open));
      return made;
    };
    for (const details of tree.querySelectorAll("details")) {
      details.fill();
      details.open = true;
    }
    return [
      dom.make("div", {class: "buttons"}, button("Open all", true), button("Close all", false)),
      tree,
      report.boxes_left_out === 0 ? null : dom.make("p", {class: "hint"},
        `Not listed here: ${format.counted(report.boxes_left_out, "further box", "further boxes")}. `,
        "velainspect tree shows all."),
    ];
  },
};
