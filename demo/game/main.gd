extends Node2D
## The skirmish: both sides' units, the rules and the player's hands on them.

const BASE := Vector2(190, 490)
const ENEMY_BASE := Vector2(955, 165)
const FIELD := Vector2(545, 290)
const CRYSTALS := 18
const UNIT_PRICE := 150
const BASE_HEALTH := 1500
const WAVE_SECONDS := 16.0
const VICTORY_POINTS := 250
const DAMAGE := 20

var units: Array[Unit] = []
var base_health := BASE_HEALTH
var enemy_health := BASE_HEALTH
var time := 0.0
var next_wave := 6.0
var over := ""
var drag_from := Vector2.INF
## Shots and explosions: Vector2 "from" and "to", float "age".
var shots: Array[Dictionary] = []
var blasts: Array[Dictionary] = []

@onready var ground: Node2D = $Ground
@onready var night: CanvasModulate = $Night
@onready var minimap: Control = $Overlay/Minimap
@onready var status: Control = $Overlay/Status


func _ready() -> void:
	Economy.reset()
	ground.build([BASE, BASE + Vector2(190, -30), FIELD, ENEMY_BASE] as Array[Vector2])
	for i in 3:
		units.append(Unit.new(BASE + Vector2(74, 28 * i - 10), true, true))
	for i in 6:
		units.append(Unit.new(BASE + Vector2(150 + 42 * (i / 2), -50 + 44 * (i % 2)), true, false))
		units.append(Unit.new(ENEMY_BASE + Vector2(-110 - 42 * (i / 2), 30 + 44 * (i % 2)), false, false))
	minimap.show_map(ground.texture, ground.SIZE, units)
	_close_when_told()


## A demonstration may want the game to end by itself: "demo.cfg" says after how many seconds.
func _close_when_told() -> void:
	var config := ConfigFile.new()
	if config.load("res://demo.cfg") == OK:
		var seconds: float = config.get_value("demo", "close_after_seconds", 0.0)
		if seconds > 0.0:
			get_tree().create_timer(seconds).timeout.connect(get_tree().quit)


func _process(delta: float) -> void:
	time += delta
	var dusk := 0.5 - 0.5 * cos(time * 0.06)
	night.color = Color.WHITE.lerp(Color("7c83c9"), dusk * 0.75)
	if over == "":
		_send_waves()
		for unit in units:
			_act(unit, delta)
		_clear_the_fallen()
	for effect in shots + blasts:
		effect.age += delta
	shots = shots.filter(func(shot: Dictionary) -> bool: return shot.age < 0.12)
	blasts = blasts.filter(func(blast: Dictionary) -> bool: return blast.age < 0.6)
	status.show_status(units, time, UNIT_PRICE, over)
	queue_redraw()


func _send_waves() -> void:
	if time < next_wave:
		return
	next_wave = time + WAVE_SECONDS
	var free := units.filter(func(unit: Unit) -> bool: return not unit.own)
	if free.size() < 9:
		var fresh := Unit.new(ENEMY_BASE + Vector2(-70, 50), false, false)
		units.append(fresh)
		free.append(fresh)
	free.shuffle()
	for i in mini(3, free.size()):
		free[i].target = (BASE if randf() < 0.3 else FIELD) + Vector2(randf_range(-70, 110), randf_range(-70, 70))


func _act(unit: Unit, delta: float) -> void:
	var arrived := unit.drive(delta)
	if unit.harvester:
		if arrived:
			_turn_around(unit)
		return
	var prey := _nearest_foe(unit)
	var enemy_home := ENEMY_BASE if unit.own else BASE
	if prey != null:
		if unit.shoot_at(prey.position, delta):
			_fire(unit, prey.position)
			prey.health -= DAMAGE
	elif unit.position.distance_to(enemy_home) < Unit.RANGE + 30.0:
		if unit.shoot_at(enemy_home, delta):
			_fire(unit, enemy_home)
			_damage_base(not unit.own)
	else:
		unit.rest_gun(delta)


func _turn_around(unit: Unit) -> void:
	if unit.loaded:
		Economy.deliver(Unit.LOAD)
	unit.loaded = unit.position.distance_to(FIELD) < 90.0
	var home := BASE + Vector2(70, randf_range(-20, 40))
	unit.target = home if unit.loaded else FIELD + Vector2(randf_range(-55, 45), randf_range(-40, 40))


func _nearest_foe(unit: Unit) -> Unit:
	var nearest: Unit = null
	var distance := Unit.RANGE
	for other in units:
		var away := unit.position.distance_to(other.position)
		if other.own != unit.own and away < distance:
			nearest = other
			distance = away
	return nearest


func _fire(unit: Unit, at: Vector2) -> void:
	var muzzle := unit.position + Vector2.from_angle(unit.aim) * 20.0
	shots.append({"from": muzzle, "to": at + Vector2(randf_range(-5, 5), randf_range(-5, 5)), "age": 0.0})


func _damage_base(own: bool) -> void:
	if own:
		base_health -= DAMAGE
		if base_health <= 0:
			over = "The valley is lost"
	else:
		enemy_health -= DAMAGE
		if enemy_health <= 0:
			over = "The valley is yours"


func _clear_the_fallen() -> void:
	for unit in units.duplicate():
		if unit.health <= 0:
			units.erase(unit)
			blasts.append({"at": unit.position, "age": 0.0})
			if not unit.own:
				Economy.reward(VICTORY_POINTS)
			elif unit.harvester:
				# The base sends another: nobody is left without an income.
				units.append(Unit.new(BASE + Vector2(70, 10), true, true))


func _unhandled_input(event: InputEvent) -> void:
	if event is InputEventMouseButton and event.button_index == MOUSE_BUTTON_LEFT:
		if event.pressed:
			drag_from = event.position
		elif drag_from != Vector2.INF:
			_select(Rect2(drag_from, event.position - drag_from).abs().grow(14))
			drag_from = Vector2.INF
	elif event is InputEventMouseButton and event.button_index == MOUSE_BUTTON_RIGHT and event.pressed:
		_send(event.position)
	elif event is InputEventKey and event.pressed and not event.echo:
		if event.keycode == KEY_SPACE and Economy.pay(UNIT_PRICE):
			var fresh := Unit.new(BASE + Vector2(70, -10), true, false)
			fresh.target = BASE + Vector2(randf_range(110, 190), randf_range(-90, 10))
			units.append(fresh)
		elif event.keycode == KEY_ENTER and over != "":
			get_tree().reload_current_scene()


func _select(area: Rect2) -> void:
	for unit in units:
		unit.selected = unit.own and not unit.harvester and area.has_point(unit.position)


func _send(to: Vector2) -> void:
	var place := 0
	for unit in units:
		if unit.selected:
			var row := place / 3
			unit.target = to + Vector2(place % 3 - 1, row) * 34.0
			place += 1


func _draw() -> void:
	for i in CRYSTALS:
		var at := FIELD + Vector2.from_angle(i * 2.4) * (10.0 + i * 4.6)
		Painter.crystal(self, at, 0.5 + 0.5 * sin(time * 2.0 + i))
	Painter.base(self, BASE, true, base_health / float(BASE_HEALTH), time)
	Painter.base(self, ENEMY_BASE, false, enemy_health / float(BASE_HEALTH), -time)
	for unit in units:
		Painter.unit(self, unit)
	for shot in shots:
		draw_line(shot.from, shot.to, Color(1.0, 0.92, 0.6, 1.0 - shot.age * 8.0), 2.0, true)
		draw_circle(shot.to, 4.0, Color(1.0, 0.7, 0.3, 0.8))
	for blast in blasts:
		var part: float = blast.age / 0.6
		draw_circle(blast.at, 8.0 + 26.0 * part, Color(1.0, 0.55 - 0.3 * part, 0.2, 0.8 * (1.0 - part)))
	if drag_from != Vector2.INF:
		var box := Rect2(drag_from, get_local_mouse_position() - drag_from).abs()
		draw_rect(box, Color(1, 1, 1, 0.08))
		draw_rect(box, Color(1, 1, 1, 0.7), false, 1.0)
